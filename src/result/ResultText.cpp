#include "result/ResultText.h"

#include <algorithm>
#include <cstddef>
#include <stdexcept>
#include <string_view>

#include "platform/os/CodePage.h"

namespace VekApi {
namespace {

// Positions in texts and record counts must fit 32 bits.
constexpr std::size_t kMostBytes = 0xF0000000;

bool IsTrail(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

// Length of the first piece of a UTF-8 text. A piece must not end before a byte that may continue a
// character; a fourth consecutive trail byte belongs to no valid character.
std::size_t PieceOf(std::string_view utf8) {
  std::size_t end = std::min(utf8.size(), TWork::kPiece);
  for (int i = 0; i < 3 && end < utf8.size() && IsTrail(utf8[end]); ++i) ++end;
  return end;
}

// The copy of a text, and its mark counts.
class TCopy {
 public:
  TCopy(std::string& text, TMarkCounts& counts, std::size_t mostBytes)
      : text_(text), counts_(counts), isCounted_(mostBytes > kUncounted) {
    text.reserve(mostBytes);
    if (!isCounted_) counts = {0, mostBytes, 0};
  }

  // In parts that are counted while they are in the cache.
  void Add(std::string_view piece) {
    constexpr std::size_t kPart = 8 * 1024;
    for (; !piece.empty(); piece.remove_prefix(std::min(kPart, piece.size()))) {
      const std::size_t before = text_.size();
      text_ += piece.substr(0, kPart);
      if (isCounted_) CountMarks(std::string_view(text_).substr(before > 0 ? before - 1 : 0), counts_);
    }
  }

  // In one call.
  bool Convert(std::string_view utf8) {
    if (!Dova::Os::Utf8ToCodePage950(utf8, text_)) return false;
    if (isCounted_) CountMarks(text_, counts_);
    return true;
  }

 private:
  // For texts up to this length memory is reserved for the worst case.
  static constexpr std::size_t kUncounted = 32 * 1024;

  std::string& text_;
  TMarkCounts& counts_;
  const bool isCounted_;
};

// The system converts the first bytes of a character at the end of a text differently than before an invalid
// byte. So each piece is followed by such bytes, which are removed from the result.
bool ConvertPieces(std::string_view utf8, TCopy& copy, TWork& work) {
  constexpr std::string_view kEnd("\0\0\0", 3);
  if (utf8.size() > Dova::Os::kCodePageMaxBytes) return false;
  std::string piece;
  std::string converted;
  for (std::size_t at = 0; at < utf8.size();) {
    const std::size_t size = PieceOf(utf8.substr(at));
    const std::string_view end = at + size < utf8.size() ? kEnd : std::string_view();
    (piece = utf8.substr(at, size)) += end;
    if (!Dova::Os::Utf8ToCodePage950(piece, converted)) return false;
    copy.Add(std::string_view(converted).substr(0, converted.size() - end.size()));
    if (work.Spend(size)) break;
    at += size;
  }
  return true;
}

bool Convert(std::string_view utf8, TCopy& copy, TWork& work) {
  return utf8.size() <= TWork::kPiece ? copy.Convert(utf8) : ConvertPieces(utf8, copy, work);
}

void Copy(std::string_view from, TCopy& copy, TWork& work) {
  while (!from.empty()) {
    const std::string_view piece = from.substr(0, TWork::kPiece);
    copy.Add(piece);
    if (work.Spend(piece.size())) break;
    from.remove_prefix(piece.size());
  }
}

}  // namespace

bool TakeText(const TResultPacket& packet, std::string& text, TMarkCounts& counts, TWork& work) {
  if (packet.text.size() > kMostBytes) throw std::length_error("string too long");
  TCopy copy(text, counts, packet.text.size());
  if (!packet.isUtf8) {
    Copy(packet.text, copy, work);
  } else if (!Convert(packet.text, copy, work)) {
    // If the conversion fails, the reserved NULs remain, which parse as no tables.
    text.assign(packet.text.size() * 2, '\0');
  }
  return !work.Stopped();
}

}  // namespace VekApi
