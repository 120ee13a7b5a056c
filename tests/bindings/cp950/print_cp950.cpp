// Prints the library's conversions of every character below U+10000:
// lines of its UTF-8, its bytes in code page 950, and these converted back to UTF-8, all in hexadecimal.
#include <cstdio>
#include <string>

#include "platform/os/CodePage.h"

static std::string Utf8Of(unsigned code) {
  if (code < 0x80) return {static_cast<char>(code)};
  const char last = static_cast<char>(0x80 | (code & 0x3F));
  if (code < 0x800) return {static_cast<char>(0xC0 | (code >> 6)), last};
  return {static_cast<char>(0xE0 | (code >> 12)), static_cast<char>(0x80 | ((code >> 6) & 0x3F)), last};
}

static void PrintHex(const std::string& bytes, char end) {
  for (const char byte : bytes) std::printf("%02x", static_cast<unsigned char>(byte));
  std::putchar(end);
}

int main() {
  for (unsigned code = 1; code < 0x10000; ++code) {
    if (code >= 0xD800 && code < 0xE000) continue;
    const std::string utf8 = Utf8Of(code);
    std::string big5, back;
    if (!Dova::Os::Utf8ToCodePage950(utf8, big5) || !Dova::Os::CodePage950ToUtf8(big5, back)) return 1;
    PrintHex(utf8, ' ');
    PrintHex(big5, ' ');
    PrintHex(back, '\n');
  }
}
