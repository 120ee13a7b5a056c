#include "result/TableRecords.h"

#include <algorithm>
#include <limits>
#include <stdexcept>

#include "result/TextMarks.h"

namespace VekApi {
namespace {

constexpr std::size_t kSmallestBlock = 256;
constexpr std::size_t kLargestBlock = std::size_t{1} << 20;  // unless one line needs more

}  // namespace

const VekTable::TRecords::TRun& VekTable::TRecords::RunOf(std::size_t row) const {
  if (runs_.size() == 1) return runs_.front();
  const auto behind =
      std::upper_bound(runs_.begin(), runs_.end(), row,
                       [](std::size_t wanted, const TRun& run) { return wanted < run.firstRow; });
  return behind[-1];
}

const char* VekTable::TRecords::Value(std::size_t row, std::size_t column) const {
  if (row >= count_) return nullptr;
  const TRun& run = RunOf(row);
  if (column >= run.columns) return nullptr;
  const std::uint32_t* const starts = run.arena->starts.Data() + run.startsAt;
  const std::uint32_t* const end = run.arena->ends.Data() + run.endsAt + (row - run.firstRow);
  const std::size_t value = (row == run.firstRow ? 0 : end[-1]) + column;
  return value < *end ? run.text + starts[value] : "";
}

TRecordArena& VekTable::TRecords::Own() {
  if (!own_) own_ = std::make_unique<TRecordArena>();
  return *own_;
}

void VekTable::TRecords::AddBare(std::size_t rows) {
  if (rows == 0) return;
  if (runs_.empty() || runs_.back().arena) runs_.push_back({nullptr, nullptr, 0, count_, 0, 0, 0});
  room_ = 0;
  count_ += rows;
}

void VekTable::TRecords::AddRun(const TRecordArena& arena, char* text, std::size_t bytes,
                                std::uint32_t columns, std::size_t startsAt, std::size_t endsAt) {
  runs_.push_back({&arena, text, bytes, count_, startsAt, endsAt, columns});
  room_ = 0;
  count_ += arena.ends.Size() - endsAt;
}

// A run of the table's own with room for `bytes` more. Texts that are there never move: when the block is
// full the next run starts in a new one.
VekTable::TRecords::TRun& VekTable::TRecords::OpenRun(std::size_t bytes, std::uint32_t columns) {
  if (!runs_.empty() && runs_.back().columns == columns && room_ >= bytes) return runs_.back();
  TRecordArena& own = Own();
  const std::size_t block = std::max(bytes, std::clamp(lastBlock_ * 2, kSmallestBlock, kLargestBlock));
  runs_.push_back({&own, own.NewText(block), 0, count_, own.starts.Size(), own.ends.Size(), columns});
  room_ = lastBlock_ = block;
  return runs_.back();
}

void VekTable::TRecords::Add(std::string_view line, std::uint32_t columns) {
  if (columns == 0) return AddBare(1);
  if (line.size() >= std::numeric_limits<std::uint32_t>::max()) throw std::length_error("string too long");
  const auto separators = static_cast<std::size_t>(std::count(line.begin(), line.end(), kValueEnd));
  const std::size_t values = std::min<std::size_t>(columns, separators + 1);
  TRecordArena& own = Own();
  own.ends.Room(1);
  own.starts.Room(values);
  TRun& run = OpenRun(line.size() + 1, columns);

  char* const text = run.text + run.bytes;
  std::copy(line.begin(), line.end(), text);
  text[line.size()] = '\0';
  own.starts.Push(static_cast<std::uint32_t>(run.bytes));
  for (std::size_t at = 0, i = 1; i < values; ++i) {
    at = line.find(kValueEnd, at);
    text[at++] = '\0';
    own.starts.Push(static_cast<std::uint32_t>(run.bytes + at));
  }
  own.ends.Push(static_cast<std::uint32_t>(own.starts.Size() - run.startsAt));
  run.bytes += line.size() + 1;
  room_ -= line.size() + 1;
  ++count_;
}

VekTable::TRecords::TRecords(const TRecords& other) : count_(other.count_) {
  std::size_t bytes = 0;
  for (const TRun& run : other.runs_) bytes += run.bytes;
  char* text = bytes ? Own().NewText(bytes) : nullptr;
  runs_.reserve(other.runs_.size());
  for (std::size_t i = 0; i < other.runs_.size(); ++i) {
    const TRun& run = other.runs_[i];
    const std::size_t endRow = i + 1 < other.runs_.size() ? other.runs_[i + 1].firstRow : count_;
    CopyRun(run, endRow - run.firstRow, text);
    if (run.arena) text += run.bytes;
  }
}

void VekTable::TRecords::CopyRun(const TRun& run, std::size_t rows, char* text) {
  runs_.push_back(run);
  if (!run.arena) return;
  const std::uint32_t* const ends = run.arena->ends.Data() + run.endsAt;
  const std::uint32_t* const starts = run.arena->starts.Data() + run.startsAt;
  TRun& copy = runs_.back();
  copy.arena = own_.get();
  copy.text = std::copy_n(run.text, run.bytes, text) - run.bytes;
  copy.startsAt = own_->starts.Append(starts, ends[rows - 1]);
  copy.endsAt = own_->ends.Append(ends, rows);
}

}  // namespace VekApi
