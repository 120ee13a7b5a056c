// Converts between UTF-8, or another code page, and the console's UTF-16.
#pragma once

#include <windows.h>

#include <string>
#include <string_view>

namespace VekTerm {

inline std::wstring Wide(std::string_view text, UINT codePage = CP_UTF8) {
  std::wstring wide(text.size(), L'\0');
  const int length = MultiByteToWideChar(codePage, 0, text.data(), static_cast<int>(text.size()), wide.data(),
                                         static_cast<int>(wide.size()));
  wide.resize(static_cast<std::size_t>(length));
  return wide;
}

inline std::string Narrow(std::wstring_view wide) {
  std::string text(wide.size() * 3, '\0');  // a unit takes at most three bytes
  const int length = WideCharToMultiByte(CP_UTF8, 0, wide.data(), static_cast<int>(wide.size()), text.data(),
                                         static_cast<int>(text.size()), nullptr, nullptr);
  text.resize(static_cast<std::size_t>(length));
  return text;
}

}  // namespace VekTerm
