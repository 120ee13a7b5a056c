#pragma once

#include <string>
#include <string_view>

// Text conversions. Well-formed text is converted byte for byte as on Windows (by its own calls there, by
// tables elsewhere): characters missing in a code page become their best fit or "?". Each ill-formed UTF-8
// sequence, as divided by DecodeUtf8, becomes "?" on every system, because Windows versions differ here. NUL
// is an ordinary character.
namespace Dova::Os {

// Longest text that can be converted, in bytes: the system's calls take an int.
inline constexpr std::size_t kCodePageMaxBytes = 0x7FFFFFFF;

// UTF-8 to code page 950 (Traditional Chinese, Big5). `out` is replaced; it never becomes longer than `utf8`
// and must not share its memory. Returns false, with `out` empty, if the text is longer than
// kCodePageMaxBytes.
bool Utf8ToCodePage950(std::string_view utf8, std::string& out);

// Code page 950 to UTF-8, for showing texts on terminals. Returns false, with `out` empty, if the text is too
// long.
bool CodePage950ToUtf8(std::string_view big5, std::string& out);

}  // namespace Dova::Os
