// The control bytes of result texts.
#pragma once

namespace VekApi {

inline constexpr char kTableMark = '\x02';   // first byte of a table header
inline constexpr char kFieldsMark = '\x03';  // first byte of a fields line
inline constexpr char kLineEnd = '\n';
inline constexpr char kValueEnd = '\x01';  // between the values of a record, and between columns
inline constexpr char kPartEnd = '\x04';   // between a name and its pairs
inline constexpr char kPairMark = '\x01';  // before each pair in the pair text

}  // namespace VekApi
