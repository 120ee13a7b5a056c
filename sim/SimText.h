#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace VekSim {

/// UTF-8 to code page 950, for the characters used by the simulator; others become "?".
std::string ToBig5(std::string_view utf8);

/// Writes the tables of a result text, line by line. Texts are UTF-8.
class ResultText {
 public:
  using Pair = std::pair<std::string_view, std::string_view>;
  /// A column: its name and its display text.
  ResultText& Table(std::string_view name, std::initializer_list<Pair> properties);
  ResultText& Fields(std::initializer_list<Pair> columns);
  ResultText& Row(const std::vector<std::string>& values);

  const std::string& Text() const { return text_; }

 private:
  std::string text_;
};

/// The text as sent in a result: marked UTF-8, or converted without a mark.
std::string Encoded(const ResultText& text, bool utf8);

}  // namespace VekSim
