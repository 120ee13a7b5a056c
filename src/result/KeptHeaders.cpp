#include "result/KeptHeaders.h"

#include <algorithm>
#include <utility>

namespace VekApi {
namespace {

// Beyond these a header's table may take up more memory than is worth keeping.
constexpr std::size_t kMostBytes = 2048;
constexpr std::uint32_t kMostColumns = 256;

}  // namespace

const TKeptHeader* TKeptHeaders::Use(std::string_view text, std::uint32_t tableIndex) {
  for (TKeptHeader& header : headers_) {
    if (header.lines.empty() || !text.starts_with(header.lines)) continue;
    header.tableIndex = tableIndex;
    header.lastUse = ++uses_;
    return &header;
  }
  return nullptr;
}

void TKeptHeaders::Keep(std::string_view lines, std::uint32_t columns, std::uint32_t tableIndex) {
  if (lines.size() > kMostBytes || columns > kMostColumns) return;
  TKeptHeader& oldest = *std::min_element(
      headers_.begin(), headers_.end(),
      [](const TKeptHeader& one, const TKeptHeader& other) { return one.lastUse < other.lastUse; });
  if (oldest.tableIndex != kNone) return;
  oldest.table.reset();
  oldest.lines = lines;
  oldest.columns = columns;
  oldest.tableIndex = tableIndex;
  oldest.lastUse = ++uses_;
}

void TKeptHeaders::Give(const TResultBody& body) {
  for (TKeptHeader& header : headers_)
    if (header.table && header.tableIndex != kNone) body.Adopt(header.tableIndex, std::move(header.table));
}

void TKeptHeaders::TakeBack(TResultBody& body) {
  while (std::unique_ptr<TMadeTable> made = body.TakeMade()) {
    const auto its = std::find_if(headers_.begin(), headers_.end(), [&](const TKeptHeader& header) {
      return header.tableIndex == made->index;
    });
    if (its != headers_.end()) its->table = std::move(made);
  }
  Forget();
}

void TKeptHeaders::Forget() {
  for (TKeptHeader& header : headers_) header.tableIndex = kNone;
}

}  // namespace VekApi
