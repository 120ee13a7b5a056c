#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace VekSim {

/// A value of a JSON text, with its line.
struct Json {
  enum class Kind { Null, Boolean, Number, Text, List, Object };
  Kind kind = Kind::Null;
  int line = 1;               ///< from 1; of a list or an object, its first
  std::string key{};          ///< of a member of an object
  std::string text{};         ///< Text
  double number = 0;          ///< Number; Boolean: 1 or 0
  std::vector<Json> items{};  ///< of a list; of an object: its members, in order

  const Json* Member(std::string_view name) const;  ///< null if absent
};

/// what() begins with the line: "12: rules[3].after: ..."
struct JsonError : std::runtime_error {
  JsonError(int line, const std::string& words) : std::runtime_error(std::to_string(line) + ": " + words) {}
};

/// Throws JsonError if the text is not one JSON value, an object names a member twice, or values nest more
/// than 32 deep.
Json ReadJson(std::string_view text);
/// A text in quotation marks. Bytes that are not UTF-8 become U+FFFD.
std::string Quoted(std::string_view text);

}  // namespace VekSim
