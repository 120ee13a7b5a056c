// Formats texts for display.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace VekDump {

// A text of the wire, which is code page 950, in UTF-8; control bytes stay.
std::string WireText(std::string_view bytes);

// A text that should be UTF-8, with "?" for invalid bytes.
std::string ValidUtf8(std::string_view text);

// UTF-8 as one line for a terminal: 0x01, which separates values, becomes " | ", other control bytes "?", so
// that no text can control the terminal.
std::string OneLine(std::string_view utf8);

// Between two times, of any values in a file.
inline std::int64_t Between(std::int64_t earlierNs, std::int64_t laterNs) {
  return static_cast<std::int64_t>(static_cast<std::uint64_t>(laterNs) -
                                   static_cast<std::uint64_t>(earlierNs));
}

// "0.412 ms", "12.3 s", "2 min 5 s"
std::string Duration(std::int64_t ns);

// "2026-11-21T10:21:03.123456789Z"; "10:21:03.123456" is ClockTime's.
std::string IsoTime(std::int64_t wallNs);
std::string ClockTime(std::int64_t wallNs);

// Sixteen bytes per line: offset, bytes, printable characters.
std::string HexLines(std::string_view bytes, std::string_view indent);

std::string HexDigits(std::string_view bytes);

// At most so many bytes; characters are kept whole. Shortened also says how many bytes are omitted.
std::string_view Front(std::string_view utf8, std::size_t most);
std::string Shortened(std::string_view utf8, std::size_t most);

// "1 packet", "2 packets"
std::string Counted(std::uint64_t count, std::string_view noun);

}  // namespace VekDump
