#include "platform/os/CodePage.h"

#include <windows.h>

namespace Dova::Os {
namespace {

constexpr UINT kBig5 = 950;

// Both ways of the system's calls: texts are cut nowhere, since what ends a piece would change what is
// ill-formed.
std::wstring Widen(UINT codePage, std::string_view text) {
  const int size = static_cast<int>(text.size());
  std::wstring wide(text.size(), L'\0');  // no code page has fewer bytes than UTF-16 has units
  const int units = MultiByteToWideChar(codePage, 0, text.data(), size, wide.data(), size);
  wide.resize(static_cast<std::size_t>(units));
  return wide;
}

bool Convert(UINT from, UINT to, std::size_t bytesPerUnit, std::string_view text, std::string& out) {
  out.clear();
  if (text.size() > kCodePageMaxBytes) return false;
  if (text.empty()) return true;  // to the system an error
  const std::wstring wide = Widen(from, text);
  const int units = static_cast<int>(wide.size());
  const std::size_t room = wide.size() * bytesPerUnit;
  if (room > kCodePageMaxBytes) {
    // More room than the system can count; the bytes that it would write are fewer, but how many only it can
    // say.
    const int needed = WideCharToMultiByte(to, 0, wide.data(), units, nullptr, 0, nullptr, nullptr);
    if (needed <= 0) return false;
    out.resize(static_cast<std::size_t>(needed));
  } else {
    out.resize(room);
  }
  const int bytes = WideCharToMultiByte(to, 0, wide.data(), units, out.data(), static_cast<int>(out.size()),
                                        nullptr, nullptr);
  out.resize(static_cast<std::size_t>(bytes > 0 ? bytes : 0));
  return bytes > 0;
}

}  // namespace

bool Utf8ToCodePage950(std::string_view utf8, std::string& out) {
  return Convert(CP_UTF8, kBig5, 2, utf8, out);
}

bool CodePage950ToUtf8(std::string_view big5, std::string& out) {
  return Convert(kBig5, CP_UTF8, 3, big5, out);
}

}  // namespace Dova::Os
