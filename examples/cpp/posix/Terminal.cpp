#include "Terminal.h"

#include <iconv.h>

#include <algorithm>
#include <cerrno>

namespace {

std::string Convert(iconv_t converter, std::string in) {
  std::string out;
  char* from = in.data();
  std::size_t left = in.size();
  while (left != 0) {
    char piece[256];
    char* to = piece;
    std::size_t room = sizeof piece;
    const bool whole = iconv(converter, &from, &left, &to, &room) != static_cast<std::size_t>(-1);
    out.append(piece, sizeof piece - room);
    if (whole || errno == E2BIG) continue;
    // An incomplete or invalid character: skip one byte, the rest may be valid.
    out += '?';
    ++from;
    --left;
  }
  return out;
}

}  // namespace

std::string ToUtf8(std::string_view cp950) {
  std::string text(cp950);
  std::replace_if(
      text.begin(), text.end(), [](unsigned char c) { return c < 0x20 || c == 0x7F; }, ' ');
  const iconv_t converter = iconv_open("UTF-8", "CP950");
  if (converter == reinterpret_cast<iconv_t>(-1)) {
    // The system has no such converter: keep at least the ASCII characters.
    std::replace_if(
        text.begin(), text.end(), [](unsigned char c) { return c >= 0x80; }, '?');
    return text;
  }
  text = Convert(converter, std::move(text));
  iconv_close(converter);
  return text;
}

void PrepareTerminal() {}
void PrepareInput() {}
