#include "result/ResultText.h"

#include <algorithm>
#include <cstddef>
#include <stdexcept>
#include <string_view>

#include "platform/os/CodePage.h"

namespace VekApi {
namespace {

// Places in texts, and numbers of records, fit 32 bits.
constexpr std::size_t kMostBytes = 0xF0000000;

bool IsTrail(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

// How many bytes a UTF-8 character that starts with that byte has at the most.
std::size_t MostBytes(char byte) {
  const auto lead = static_cast<unsigned char>(byte);
  if (lead < 0xC2 || lead > 0xF4) return 1;
  return lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
}

// True where a UTF-8 text may be cut in two, and the halves read as the whole, ill-formed characters too: no
// character that starts before may go on, or miss what follows.
bool IsSeam(std::string_view utf8, std::size_t at) {
  const std::size_t looked = std::min<std::size_t>(at, 3);
  bool onlyTrails = looked == 3;
  for (std::size_t back = 1; back <= looked; ++back) {
    if (MostBytes(utf8[at - back]) > back) return false;
    onlyTrails = onlyTrails && IsTrail(utf8[at - back]);
  }
  return onlyTrails || !IsTrail(utf8[at]);
}

std::size_t PieceOf(std::string_view utf8) {
  if (utf8.size() <= TWork::kPiece) return utf8.size();
  std::size_t end = TWork::kPiece;
  while (end < utf8.size() && !IsSeam(utf8, end)) ++end;
  return end;
}

bool Convert(std::string_view utf8, std::string& text, TWork& work) {
  if (utf8.size() <= TWork::kPiece) return Dova::Os::Utf8ToCodePage950(utf8, text);
  if (utf8.size() > Dova::Os::kCodePageMaxBytes) return false;
  text.reserve(utf8.size());
  std::string converted;
  while (!utf8.empty()) {
    const std::size_t piece = PieceOf(utf8);
    if (!Dova::Os::Utf8ToCodePage950(utf8.substr(0, piece), converted)) return false;
    text += converted;
    utf8.remove_prefix(piece);
    if (work.Spend(piece)) break;
  }
  return true;
}

void Copy(std::string_view from, std::string& text, TWork& work) {
  text.reserve(from.size());
  for (std::size_t at = 0; at < from.size() && !work.Stopped(); at += TWork::kPiece) {
    text += from.substr(at, TWork::kPiece);
    work.Spend(TWork::kPiece);
  }
}

}  // namespace

bool TakeText(const TResultPacket& packet, std::string& text, TWork& work) {
  if (packet.text.size() > kMostBytes) throw std::length_error("string too long");
  if (!packet.isUtf8) {
    Copy(packet.text, text, work);
  } else if (!Convert(packet.text, text, work)) {
    // A conversion that fails leaves the room that was made for it, which reads as no tables.
    text.assign(packet.text.size() * 2, '\0');
  }
  return !work.Stopped();
}

}  // namespace VekApi
