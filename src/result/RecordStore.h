// Storage of a result's text and records: a copy of the text with NULs in place of the records' separators,
// and the positions where values start. A record costs slightly more than two bytes, plus four for each value
// present in its line, however many columns its table announces.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>

#include "platform/os/GiveBack.h"
#include "result/Chunks.h"
#include "result/NameTable.h"
#include "vekapi/VekTable.h"

namespace VekApi {

// An array that is not initialised and does not keep its content when it grows.
template <class TItem>
class TRoom {
 public:
  TItem* Data() { return items_.get(); }
  const TItem* Data() const { return items_.get(); }
  void Need(std::size_t count) {
    if (count <= count_) return;
    items_.reset();
    count_ = 0;
    items_ = std::make_unique_for_overwrite<TItem[]>(count);
    count_ = count;
  }

  // Room for `count` items; keeps the first `used`.
  void Grow(std::size_t count, std::size_t used) {
    auto more = std::make_unique_for_overwrite<TItem[]>(count);
    std::copy_n(items_.get(), used, more.get());
    items_ = std::move(more);
    count_ = count;
  }

  std::size_t Count() const { return count_; }

  // The memory stays allocated, the items are lost.
  void GiveBack() { Dova::Os::GiveBack(reinterpret_cast<char*>(items_.get()), count_ * sizeof(TItem)); }

  // Keeps the memory if it fits into `room`, which is reduced by its size.
  void Keep(std::size_t& room) {
    const std::size_t bytes = count_ * sizeof(TItem);
    if (bytes > room) {
      items_.reset();
      count_ = 0;
    } else {
      room -= bytes;
    }
  }

 private:
  std::unique_ptr<TItem[]> items_;
  std::size_t count_ = 0;
};

// Consecutive records of a table, split for the same columns.
struct TRun {
  std::uint32_t before;    // the table's previous run; kNone: this is the first
  std::uint32_t columns;   // 0: records without values, which have no starts or ends
  std::uint32_t startsAt;  // index of the first value's start
  std::uint32_t endsAt;    // index of the first record's end
  std::uint32_t rows;
};

class TRecordStore {
 public:
  // Extra bytes needed after the text: whole blocks are written, and a NUL.
  static constexpr std::size_t kSlack = 65;

  // Reserves memory for a text of `bytes`, and for the values of its first ones. The store must be empty.
  void Prepare(std::size_t bytes);

  // Makes room for `more` starts, `read` bytes of the text having been read.
  void NeedStarts(std::size_t more, std::size_t read) {
    if (starts.Count() - startsCount < more) GrowStarts(more, read);
  }

  // Puts the separators back into a copy of `copy`.
  void Join(char* text) const;

  // Clears the store; keeps memory for a few runs, and other memory as far as it fits into `room`, which is
  // reduced by its size.
  void Clear(std::size_t& room);

  // Lets the system reuse the memory of a cleared store.
  void GiveBack();

  // Opens a run following the table's run `before`.
  void OpenRun(std::uint32_t before, std::uint32_t columns) { OpenRun(before, columns, startsCount); }

  // Ends the last run's next record, with values from `start` up to `end`. Opens another run if this one
  // cannot hold it.
  void EndRecord(std::size_t start, std::size_t end) {
    const std::uint32_t rows = lastRun_->rows;
    if (rows == 1 || (rows > 0 && (rows % kGroup == 0 || end - groupAt_ >= kRunEnd))) PrepareEnd(start, end);
    ends.Data()[endsCount_++] = static_cast<std::uint16_t>(std::min<std::size_t>(end - groupAt_, kRunEnd));
    ++lastRun_->rows;
  }

  std::uint32_t LastRun() const { return static_cast<std::uint32_t>(runs.Size() - 1); }

  std::size_t StartsEnd(std::uint32_t run) const {
    return run + 1 < runs.Size() ? runs[run + 1].startsAt : startsCount;
  }

  // The value in a row of a run that has this column; `startsEnd` is the end of the run's starts.
  const char* Value(const TRun& run, std::size_t startsEnd, std::size_t row, std::size_t column) const;

  // The records of a run with columns, from `row` on, that are contiguous in the copy and have the same
  // number of values.
  VekRecordBlock Block(const TRun& run, std::size_t startsEnd, std::size_t row) const;

  TRoom<char> copy;
  TRoom<std::uint32_t> starts;  // positions in the copy
  std::size_t startsCount = 0;
  std::size_t textBytes = 0;
  std::size_t recordsEnd = 0;  // just past the last record line
  TChunks<TRun> runs;

 private:
  // Ends are counted in values from the start of their group of records. Each group except the first of a run
  // is preceded by the number of values before it in the run, low half first.
  static constexpr std::size_t kGroup = 32;
  static constexpr std::size_t kGroupHead = 2;
  static constexpr std::uint16_t kRunEnd =
      0xFFFF;  // as an end: that of the run, which consists of this record only

  // The starts of a record: from `first` up to `end`.
  struct TStarts {
    std::size_t first;
    std::size_t end;
  };

  TStarts StartsOf(const TRun& run, std::size_t startsEnd, std::size_t row) const;
  std::size_t TextEnd(const TRun& run, TStarts record) const;
  static std::size_t Words(std::size_t rows) { return rows + rows / kGroup * kGroupHead; }
  void GrowStarts(std::size_t more, std::size_t read);
  void NeedEnds(std::size_t more, std::size_t read);
  std::size_t Enough(std::size_t used, std::size_t more, std::size_t read) const;
  void OpenRun(std::uint32_t before, std::uint32_t columns, std::size_t startsAt);
  void OpenGroup(std::size_t start);
  void PrepareEnd(std::size_t start, std::size_t end);
  std::size_t GroupBase(const std::uint16_t* group) const { return group[-2] | std::size_t{group[-1]} << 16; }

  TRun* lastRun_ = nullptr;
  TRoom<std::uint16_t> ends;
  std::size_t endsCount_ = 0;
  std::size_t groupAt_ = 0;  // index in the starts where the last group of the last run begins
};

inline TRecordStore::TStarts TRecordStore::StartsOf(const TRun& run, std::size_t startsEnd,
                                                    std::size_t row) const {
  const std::size_t first = row / kGroup * kGroup;
  const std::uint16_t* const group = ends.Data() + run.endsAt + Words(first);
  const std::size_t base = run.startsAt + (first ? GroupBase(group) : 0);
  const std::uint16_t end = group[row - first];
  return {base + (row == first ? 0 : group[row - first - 1]), end == kRunEnd ? startsEnd : base + end};
}

inline const char* TRecordStore::Value(const TRun& run, std::size_t startsEnd, std::size_t row,
                                       std::size_t column) const {
  const TStarts record = StartsOf(run, startsEnd, row);
  return record.first + column < record.end ? copy.Data() + starts.Data()[record.first + column] : "";
}

}  // namespace VekApi
