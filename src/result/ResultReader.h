// The walk over a result's text: which line belongs to which table.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "result/NameIndex.h"
#include "result/RecordArena.h"
#include "result/RecordCutter.h"
#include "vekapi/VekTaskResult.h"

namespace VekApi {

// What a result holds beside its texts.
class VekTaskResult::TImpl {
 public:
  std::size_t Find(std::string_view name) const { return index_.Find(name, tables_); }
  const std::vector<VekTable>& Tables() const { return tables_; }
  VekTable& Table(std::size_t index) { return tables_[index]; }
  TRecordArena& Arena() { return arena_; }

  VekTable& Append(VekTable&& table) {
    tables_.push_back(std::move(table));
    index_.Enter(tables_);
    return tables_.back();
  }

  // Forgets the tables, but not their memory.
  void Clear() {
    tables_.clear();
    index_.Clear();
    arena_.Clear();
  }

  std::size_t KeptBytes() const { return tables_.capacity() * sizeof(VekTable) + arena_.KeptBytes(); }

  // Calls in a row that could have done with a small part of the kept memory.
  unsigned idleParses = 0;

 private:
  // The application gets tables to read only, so none changes its name.
  std::vector<VekTable> tables_;
  TNameIndex index_;
  TRecordArena arena_;  // of the records of all tables
};

class VekTaskResult::TReader {
 public:
  explicit TReader(VekTaskResult& result)
      : result_(result), text_(result.origResult_), arena_(result.impl_->Arena()), cutter_(text_, arena_) {}

  void Read();

 private:
  std::size_t LineEnd(std::size_t from) const;
  void OnHeader(std::string_view text);
  void OnFields(std::string_view text);
  std::size_t OnRecords(std::size_t from);
  std::size_t OnBareRecords(std::size_t from);
  char* Copy();

  VekTaskResult& result_;
  std::string_view text_;
  TRecordArena& arena_;
  TRecordCutter cutter_;
  VekTable* table_ = nullptr;  // the one that lines belong to; null: none yet
  char* copy_ = nullptr;       // as long as the text, each record at its own place
};

}  // namespace VekApi
