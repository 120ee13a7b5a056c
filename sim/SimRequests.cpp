#include "sim/SimRequests.h"

#include <algorithm>
#include <string>

namespace VekSim {

namespace {

constexpr std::string_view kGaps{"\x01 \r\n\0", 5};

std::vector<std::string_view> Words(std::string_view line) {
  std::vector<std::string_view> words;
  for (std::size_t at = line.find_first_not_of(kGaps); at != std::string_view::npos;) {
    const std::size_t end = std::min(line.find_first_of(kGaps, at), line.size());
    words.push_back(line.substr(at, end - at));
    at = line.find_first_not_of(kGaps, end);
  }
  return words;
}

/// Removes and returns the text up to the next line feed; the line feed is removed too.
std::string_view TakeLine(std::string_view& rest) {
  const std::size_t end = std::min(rest.find('\n'), rest.size());
  const std::string_view line = rest.substr(0, end);
  rest.remove_prefix(std::min(end + 1, rest.size()));
  return line;
}

}  // namespace

SimRequest ParseRequest(std::string_view text) {
  SimRequest request;
  request.text = text;
  const auto head = Words(TakeLine(text));
  if (!head.empty()) request.workId = head[0];
  if (head.size() > 1) request.verb = head[1];
  for (const std::string_view word : Words(text)) {
    const std::size_t equals = std::min(word.find('='), word.size());
    const std::string_view value = word.substr(std::min(equals + 1, word.size()));
    request.args.emplace(word.substr(0, equals), value);
  }
  return request;
}

std::vector<SimRequest> ParseBatch(std::string_view text) {
  std::vector<SimRequest> requests;
  while (!text.empty()) {
    const std::string_view start = text;
    TakeLine(text);
    TakeLine(text);
    std::string_view pair = start.substr(0, start.size() - text.size());
    if (pair.ends_with('\n') && !text.empty()) pair.remove_suffix(1);
    requests.push_back(ParseRequest(pair));
  }
  return requests;
}

}  // namespace VekSim
