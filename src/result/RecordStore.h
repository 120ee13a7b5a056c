// Where the records of a result lie: a copy of the text in which NULs stand for the separators, and where in
// it values start. A record costs two bytes and a bit, and four for each value that its line had, however
// many columns its table announces.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>

#include "result/ByteMarks.h"
#include "result/NameTable.h"

namespace VekApi {

// An array that is not filled in advance and does not keep its content when it grows.
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

  // The memory stays if `room` is enough for it, which becomes smaller by that.
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

// Records of a table, one after the other, cut for the same columns.
struct TRun {
  std::uint32_t before;    // the table's run before this one; kNone: the first
  std::uint32_t columns;   // 0: records without values, which have neither starts nor ends
  std::uint32_t startsAt;  // the first value's start
  std::uint32_t endsAt;    // the first record's end
  std::uint32_t rows;
};

class TRecordStore {
 public:
  // Room that the copy needs behind the text: whole blocks are written, and a NUL.
  static constexpr std::size_t kSlack = 65;

  // Makes room for a text of `bytes` with these marks, in an empty store.
  void Prepare(std::size_t bytes, const TMarkCounts& counts);

  // Forgets everything; of the memory stays what `room` is enough for, which becomes smaller by that.
  void Clear(std::size_t& room);

  // Opens a run, behind the table's run `before`.
  void OpenRun(std::uint32_t before, std::uint32_t columns) { OpenRun(before, columns, startsCount); }

  // Ends the last run's next record, whose values start from `start` up to `end`. Opens one more run where
  // this one cannot take it.
  void EndRecord(std::size_t start, std::size_t end);

  std::uint32_t LastRun() const { return static_cast<std::uint32_t>(runs.size() - 1); }

  std::size_t StartsEnd(std::uint32_t run) const {
    return run + 1 < runs.size() ? runs[run + 1].startsAt : startsCount;
  }

  // The value in a row of a run that has this column; `startsEnd` is the run's.
  const char* Value(const TRun& run, std::size_t startsEnd, std::size_t row, std::size_t column) const;

  TRoom<char> copy;
  TRoom<std::uint32_t> starts;  // places in the copy
  std::size_t startsCount = 0;
  std::deque<TRun> runs;

 private:
  // Ends are counted in values from the start of their group of records, and each group but a run's first has
  // in front how many values came before it in the run, low half first.
  static constexpr std::size_t kGroup = 32;
  static constexpr std::size_t kGroupHead = 2;
  static constexpr std::uint16_t kRunEnd = 0xFFFF;  // as end: that of the run, which has this record alone

  static std::size_t Words(std::size_t rows) { return rows + rows / kGroup * kGroupHead; }
  void OpenRun(std::uint32_t before, std::uint32_t columns, std::size_t startsAt);
  void OpenGroup(std::size_t start);
  std::size_t GroupBase(const std::uint16_t* group) const { return group[-2] | std::size_t{group[-1]} << 16; }

  TRoom<std::uint16_t> ends;
  std::size_t endsCount_ = 0;
  std::size_t groupAt_ = 0;  // where in the starts the last run's last group starts
};

inline const char* TRecordStore::Value(const TRun& run, std::size_t startsEnd, std::size_t row,
                                       std::size_t column) const {
  const std::size_t first = row / kGroup * kGroup;
  const std::uint16_t* const group = ends.Data() + run.endsAt + Words(first);
  const std::size_t base = run.startsAt + (first ? GroupBase(group) : 0);
  const std::size_t value = base + (row == first ? 0 : group[row - first - 1]) + column;
  const std::uint16_t end = group[row - first];
  if (value >= (end == kRunEnd ? startsEnd : base + end)) return "";
  return copy.Data() + starts.Data()[value];
}

}  // namespace VekApi
