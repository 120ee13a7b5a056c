#include "Terminal.h"

#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <algorithm>
#include <cstdio>

namespace {

constexpr UINT kTraditionalChinese = 950;

std::wstring Widen(const std::string& text) {
  const int size = static_cast<int>(text.size());
  std::wstring wide(text.size(), L'\0');
  const int length = MultiByteToWideChar(kTraditionalChinese, 0, text.data(), size, wide.data(), size);
  wide.resize(static_cast<std::size_t>(std::max(length, 0)));
  return wide;
}

}  // namespace

std::string ToUtf8(std::string_view cp950) {
  std::string text(cp950);
  std::replace_if(
      text.begin(), text.end(), [](unsigned char c) { return c < 0x20 || c == 0x7F; }, ' ');
  const std::wstring wide = Widen(text);
  const int wideSize = static_cast<int>(wide.size());
  // A UTF-16 code unit takes at most three bytes.
  std::string out(wide.size() * 3, '\0');
  const int length = WideCharToMultiByte(CP_UTF8, 0, wide.data(), wideSize, out.data(),
                                         static_cast<int>(out.size()), nullptr, nullptr);
  out.resize(static_cast<std::size_t>(std::max(length, 0)));
  return out;
}

void PrepareTerminal() {
  SetConsoleOutputCP(CP_UTF8);
}

void PrepareInput() {
  _setmode(_fileno(stdin), _O_BINARY);
}
