// Splits the record lines of a result text into values, many bytes at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "result/ByteMarks.h"
#include "result/RecordStore.h"
#include "result/TWork.h"

namespace VekApi {

class TRecordCutter {
 public:
  TRecordCutter(std::string_view text, TRecordStore& store, TWork& work)
      : text_(text), store_(store), work_(work) {}

  // Reads record lines from `from`, the start of a record line, into the store's last run, up to the first
  // line that is not a record. Returns the start of that line, or the text's size if there is none or the
  // work stopped. The store's copy may be cut beyond the records, too.
  std::size_t Cut(std::size_t from);

 private:
  std::size_t Mark(std::size_t at, std::size_t blocks, TByteMarks* marks);
  bool EndRecords(const TByteMarks& marks, std::size_t at);
  std::size_t EndAtNul(std::size_t nul);
  void EndRecord(std::size_t startsEnd);

  std::string_view text_;
  TRecordStore& store_;
  TWork& work_;
  std::size_t recordStart_ = 0;  // the first start of the current record
  std::size_t next_ = 0;         // the line after the last completed record
  std::uint32_t columns_ = 0;
};

}  // namespace VekApi
