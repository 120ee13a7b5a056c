#include "result/KeptHeaders.h"

#include <algorithm>
#include <utility>

#include "result/TextMarks.h"

namespace VekApi {

TKeptHeader* TKeptHeaders::Find(std::string_view text) {
  for (TKeptHeader& header : headers_)
    if (!header.lines.empty() && text.starts_with(header.lines)) return &header;
  return nullptr;
}

void TKeptHeaders::Use(TKeptHeader& header, std::uint32_t tableIndex) {
  header.tableIndex = tableIndex;
  header.lastUse = ++uses_;
}

std::uint32_t TKeptHeaders::Keep(std::string_view lines, std::unique_ptr<TMadeTable> table) {
  TKeptHeader& oldest = *std::min_element(
      headers_.begin(), headers_.end(),
      [](const TKeptHeader& one, const TKeptHeader& other) { return one.lastUse < other.lastUse; });
  oldest.lines = lines;
  oldest.nameBytes = table->table.Properties().Name().size();
  oldest.fieldsAt = lines.find(kLineEnd) + 2;
  oldest.columns = static_cast<std::uint32_t>(table->table.Fields().Count());
  Use(oldest, table->index);
  oldest.table = std::move(table);
  return oldest.columns;
}

void TKeptHeaders::Give(TResultBody& body) {
  constexpr std::size_t kMostRuns = 256;  // of records; a table has a list of them
  if (body.records.runs.Size() > kMostRuns) return;
  for (TKeptHeader& header : headers_)
    if (header.table && header.tableIndex != kNone) body.Own(header.tableIndex, std::move(header.table));
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
