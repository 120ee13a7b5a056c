// The control bytes of result texts.
#pragma once

namespace VekApi {

inline constexpr char kTableMark = '\x02';   // first byte of a table header
inline constexpr char kFieldsMark = '\x03';  // first byte of a fields line
inline constexpr char kLineEnd = '\n';
inline constexpr char kValueEnd = '\x01';  // between the values of a record, and between columns
inline constexpr char kPartEnd = '\x04';   // between a name and the pairs behind it
inline constexpr char kPairMark = '\x01';  // in front of each pair that is shown

}  // namespace VekApi
