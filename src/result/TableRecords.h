// The records of a table, in runs: records that came one after the other while the table had the same
// columns, with their texts side by side. A record costs one word, and one for each value that its line had,
// however many columns the table announces.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "result/RecordArena.h"
#include "vekapi/VekTable.h"

namespace VekApi {

class VekTable::TRecords {
 public:
  TRecords() = default;
  TRecords(const TRecords& other);
  TRecords& operator=(const TRecords&) = delete;

  std::size_t Count() const { return count_; }

  // Null when there is no such value.
  const char* Value(std::size_t row, std::size_t column) const;

  // Appends one record, in memory of the table's own.
  void Add(std::string_view line, std::uint32_t columns);

  // Appends `rows` records that have no columns.
  void AddBare(std::size_t rows);

  // Appends the records that were put into an arena which outlives this table: `bytes` of text, the values'
  // starts and the records' ends from the given positions on.
  void AddRun(const TRecordArena& arena, char* text, std::size_t bytes, std::uint32_t columns,
              std::size_t startsAt, std::size_t endsAt);

 private:
  struct TRun {
    const TRecordArena* arena;  // null: records without columns
    char* text;
    std::size_t bytes;
    std::size_t firstRow;
    std::size_t startsAt;
    std::size_t endsAt;
    std::uint32_t columns;
  };

  const TRun& RunOf(std::size_t row) const;
  TRun& OpenRun(std::size_t bytes, std::uint32_t columns);
  void CopyRun(const TRun& run, std::size_t rows, char* text);
  TRecordArena& Own();

  std::size_t count_ = 0;
  std::vector<TRun> runs_;
  std::unique_ptr<TRecordArena> own_;
  std::size_t room_ = 0;  // bytes left behind the last run's text
  std::size_t lastBlock_ = 0;
};

}  // namespace VekApi
