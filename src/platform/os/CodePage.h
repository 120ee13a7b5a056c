#pragma once

#include <string>
#include <string_view>

// Text conversions. Well-formed text is converted byte for byte as Windows does it (its own calls there,
// tables elsewhere): what does not belong to a code page becomes its best fit or "?". Ill-formed UTF-8
// becomes "?" for each sequence, as DecodeUtf8 divides them, which is ours on every system; what Windows
// itself would make of it depends on its version. NUL is a character like any other.
namespace Dova::Os {

// Longest text that can be converted, in bytes: the system's calls count in int.
inline constexpr std::size_t kCodePageMaxBytes = 0x7FFFFFFF;

// UTF-8 to code page 950 (Traditional Chinese, Big5). `out` is replaced; it never gets more bytes than `utf8`
// has, and must not share its memory. False, with `out` empty, when the text is longer than
// kCodePageMaxBytes.
bool Utf8ToCodePage950(std::string_view utf8, std::string& out);

// The way back, for showing texts on terminals. False, with `out` empty, when the text is too long.
bool CodePage950ToUtf8(std::string_view big5, std::string& out);

}  // namespace Dova::Os
