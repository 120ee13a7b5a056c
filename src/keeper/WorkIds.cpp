#include "keeper/WorkIds.h"

#include <algorithm>

#include "keeper/TRandom.h"
#include "protocol/Packet.h"

namespace VekApi {
namespace {

constexpr std::size_t kMaxId = 31;
constexpr char kDigits[] = "0123456789ABCDEFGHJKMNPQRSTVWXYZ";

}  // namespace

TWorkIds::TWorkIds(std::string_view prefix, std::uint64_t seed) {
  length_ = static_cast<unsigned>(prefix.copy(id_, kMaxPrefix));
  std::uint64_t bits = TRandom(seed).Next();
  for (int i = 0; i < 13; ++i, bits >>= 5) id_[length_++] = kDigits[bits & 31];
  head_ = length_;
  GoOn();
}

// The lowest digit comes first, so most ids differ from the previous one in a single character.
void TWorkIds::GoOn() {
  unsigned at = 0;
  for (; digits_[at] == 31; ++at) id_[head_ + at] = kDigits[digits_[at] = 0];
  id_[head_ + at] = kDigits[++digits_[at]];
  length_ = std::max(length_, head_ + at + 1);
}

bool IsWorkId(std::string_view id, char separator) {
  if (id.empty() || id.size() > kMaxId || id == "Sgn.Result") return false;
  return std::all_of(id.begin(), id.end(), [=](char c) {
    return static_cast<unsigned char>(c) > ' ' && c != ',' && c != separator && c != '\x7F';
  });
}

namespace {

bool HasOneLineFeed(std::string_view text) {
  const std::size_t first = text.find('\n');
  return first != std::string_view::npos && text.find('\n', first + 1) == std::string_view::npos;
}

}  // namespace

bool IsRequestText(int code, std::string_view text, std::string_view id, bool inFront) {
  if (text.empty()) return false;
  if (code == PkRequestAck && !HasOneLineFeed(text)) return false;
  if (inFront || id.empty()) return true;
  return text.starts_with(id) &&
         (text.size() == id.size() || text[id.size()] == ' ' || text[id.size()] == '\n');
}

}  // namespace VekApi
