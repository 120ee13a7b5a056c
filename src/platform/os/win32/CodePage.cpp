#include "platform/os/CodePage.h"

#include <windows.h>

#include <string>

#include "platform/os/Utf8.h"

namespace Dova::Os {
namespace {

constexpr UINT kBig5 = 950;

// Texts are converted as a whole: splitting would change what is ill-formed.
std::wstring WidenBig5(std::string_view text) {
  const int size = static_cast<int>(text.size());
  std::wstring wide(text.size(), L'\0');  // Big5 never has fewer bytes than UTF-16 code units
  const int units = MultiByteToWideChar(kBig5, 0, text.data(), size, wide.data(), size);
  wide.resize(static_cast<std::size_t>(units));
  return wide;
}

// Not MultiByteToWideChar: versions differ in the length of an ill-formed sequence.
std::wstring WidenUtf8(std::string_view text) {
  constexpr wchar_t kReplacement = 0xFFFD;
  std::wstring wide;
  wide.reserve(text.size());
  for (std::size_t at = 0; at < text.size();) {
    const TUtf8Character character = DecodeUtf8(text.substr(at));
    at += character.bytes;
    if (character.code == kIllFormedUtf8) {
      wide += kReplacement;
    } else if (character.code > 0xFFFF) {
      wide += static_cast<wchar_t>(0xD800 + ((character.code - 0x10000) >> 10));
      wide += static_cast<wchar_t>(0xDC00 + (character.code & 0x3FF));
    } else {
      wide += static_cast<wchar_t>(character.code);
    }
  }
  return wide;
}

bool Narrow(const std::wstring& wide, UINT to, std::size_t bytesPerUnit, std::string& out) {
  if (wide.empty()) return true;  // an error for the system's call
  const int units = static_cast<int>(wide.size());
  const std::size_t room = wide.size() * bytesPerUnit;
  if (room > kCodePageMaxBytes) {
    // The worst case would exceed the system's int; the actual size is smaller, but only the system can
    // compute it.
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
  out.clear();
  return utf8.size() <= kCodePageMaxBytes && Narrow(WidenUtf8(utf8), kBig5, 2, out);
}

bool CodePage950ToUtf8(std::string_view big5, std::string& out) {
  out.clear();
  return big5.size() <= kCodePageMaxBytes && Narrow(WidenBig5(big5), CP_UTF8, 3, out);
}

}  // namespace Dova::Os
