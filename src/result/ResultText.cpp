#include "result/ResultText.h"

#include <algorithm>
#include <cstddef>
#include <string_view>

#include "platform/os/CodePage.h"

namespace VekApi {
namespace {

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

// The system converts the first bytes of a character at the end of a text differently than before an invalid
// byte. So each piece is followed by such bytes, which are removed from the result.
bool ConvertPieces(std::string_view utf8, std::string& text, TWork& work) {
  constexpr std::string_view kEnd("\0\0\0", 3);
  if (utf8.size() > Dova::Os::kCodePageMaxBytes) return false;
  std::string piece;
  std::string converted;
  for (std::size_t at = 0; at < utf8.size();) {
    const std::size_t size = PieceOf(utf8.substr(at));
    const std::string_view end = at + size < utf8.size() ? kEnd : std::string_view();
    (piece = utf8.substr(at, size)) += end;
    if (!Dova::Os::Utf8ToCodePage950(piece, converted)) return false;
    text += std::string_view(converted).substr(0, converted.size() - end.size());
    if (work.Spend(size)) break;
    at += size;
  }
  return true;
}

bool Convert(std::string_view utf8, std::string& text, TWork& work) {
  if (utf8.size() <= TWork::kPiece) return Dova::Os::Utf8ToCodePage950(utf8, text);
  return ConvertPieces(utf8, text, work);
}

}  // namespace

bool ConvertText(std::string_view utf8, std::string& text, TWork& work) {
  text.reserve(utf8.size());
  // If the conversion fails, the reserved NULs remain, which parse as no tables.
  if (!Convert(utf8, text, work)) text.assign(utf8.size() * 2, '\0');
  return !work.Stopped();
}

}  // namespace VekApi
