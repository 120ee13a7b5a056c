#include "result/TableRecords.h"

#include <algorithm>
#include <limits>
#include <stdexcept>

#include "result/TextMarks.h"

namespace VekApi {

VekTable::TRecords::TRecords(const TRecords& other)
    : held_(other.body_), body_(other.body_), runs_(other.runs_), shown_(other.shown_) {
  for (const auto& line : other.added_) added_.push_back(std::make_unique<const TLine>(*line));
}

void VekTable::TRecords::Show(const TResultBody& body, std::uint32_t lastRun) {
  Hide();
  body_ = &body;
  for (std::uint32_t at = lastRun; at != kNone; at = runs_.back().run->before)
    runs_.push_back({&body.records.runs[at], 0, body.records.StartsEnd(at)});
  std::reverse(runs_.begin(), runs_.end());
  for (TShownRun& shown : runs_) {
    shown.firstRow = shown_;
    shown_ += shown.run->rows;
  }
}

void VekTable::TRecords::ShowBare(std::size_t rows) {
  Hide();
  shown_ = rows;
}

void VekTable::TRecords::Hide() {
  constexpr std::size_t kKeptRuns = 16;
  body_ = nullptr;
  shown_ = 0;
  runs_.clear();
  if (runs_.capacity() > kKeptRuns) std::vector<TShownRun>().swap(runs_);
}

const VekTable::TRecords::TShownRun& VekTable::TRecords::RunOf(std::size_t row) const {
  if (runs_.size() == 1) return runs_.front();
  const auto behind =
      std::upper_bound(runs_.begin(), runs_.end(), row,
                       [](std::size_t wanted, const TShownRun& shown) { return wanted < shown.firstRow; });
  return behind[-1];
}

const char* VekTable::TRecords::Value(std::size_t row, std::size_t column) const {
  if (row < shown_) {
    if (runs_.empty()) return nullptr;
    const TShownRun& shown = RunOf(row);
    if (column >= shown.run->columns) return nullptr;
    return body_->records.Value(*shown.run, shown.startsEnd, row - shown.firstRow, column);
  }
  if (row >= Count()) return nullptr;
  const TLine& line = *added_[row - shown_];
  if (column >= line.columns) return nullptr;
  return column < line.starts.size() ? line.text.c_str() + line.starts[column] : "";
}

VekRecordBlock VekTable::TRecords::Block(std::size_t row) const {
  VekRecordBlock block;
  if (row >= Count()) return block;
  if (row >= shown_) return BlockOf(*added_[row - shown_]);
  const TShownRun* const shown = runs_.empty() ? nullptr : &RunOf(row);
  if (shown && shown->run->columns > 0)
    return body_->records.Block(*shown->run, shown->startsEnd, row - shown->firstRow);
  block.records = static_cast<int>(shown ? shown->firstRow + shown->run->rows - row : shown_ - row);
  return block;
}

VekRecordBlock VekTable::TRecords::BlockOf(const TLine& line) {
  VekRecordBlock block;
  block.records = 1;
  if (line.columns == 0) return block;
  block.text = line.text.c_str();
  block.starts = line.starts.data();
  block.textEnd = static_cast<std::uint32_t>(line.text.size() + 1);
  block.columns = static_cast<int>(line.columns);
  block.values = block.stride = static_cast<int>(line.starts.size());
  return block;
}

void VekTable::TRecords::Add(std::string_view text, std::uint32_t columns) {
  if (text.size() >= std::numeric_limits<std::uint32_t>::max()) throw std::length_error("string too long");
  TLine line{std::string(text), {}, columns};
  for (std::size_t at = 0; line.starts.size() < columns; ++at) {
    line.starts.push_back(static_cast<std::uint32_t>(at));
    at = text.find(kValueEnd, at);
    if (at == text.npos) break;
    if (line.starts.size() < columns) line.text[at] = '\0';
  }
  added_.push_back(std::make_unique<const TLine>(std::move(line)));
}

}  // namespace VekApi
