// Completes a word from the possible ones.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

namespace VekTerm {

struct Completion {
  std::string more;  // to insert at the cursor
  std::string list;  // a line of choices, if nothing more is certain
};

// `words` begin with the last word of `before`.
inline Completion CompletionOf(std::string_view before, const std::vector<std::string>& words) {
  if (words.empty()) return {};
  std::string common = words.front();
  for (const std::string& word : words) {
    const auto [end, other] = std::mismatch(common.begin(), common.end(), word.begin(), word.end());
    common.erase(end, common.end());
  }
  const std::size_t typed = before.size() - (before.find_last_of(' ') + 1);
  Completion completion{common.substr(std::min(typed, common.size())), {}};
  if (words.size() == 1 && !common.ends_with('=')) completion.more += ' ';
  if (!completion.more.empty()) return completion;
  for (const std::string& word : words) completion.list += word + "  ";
  completion.list += '\n';
  return completion;
}

}  // namespace VekTerm
