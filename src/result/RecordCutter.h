// Cuts the record lines of a result text into values, many bytes at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "result/ByteMarks.h"
#include "result/RecordArena.h"
#include "result/TextMarks.h"

namespace VekApi {

// True at the text's end and where a line starts that is no record.
inline bool EndsRecords(std::string_view text, std::size_t at) {
  return at >= text.size() || text[at] == '\0' || text[at] == kTableMark || text[at] == kFieldsMark;
}

class TRecordCutter {
 public:
  // Room that the copy needs behind its last byte: the cutter writes whole blocks, and a NUL behind the text.
  static constexpr std::size_t kSlack = kMarkedBytes + 1;

  TRecordCutter(std::string_view text, TRecordArena& arena) : text_(text), arena_(arena) {}

  // Reads lines from `from`, where a record line starts, up to the first line that is none, and gives the
  // byte behind the last line's end: that end is a line end, a NUL, or the text's own. A copy of the lines,
  // cut by NULs, goes to `out`; where values start and records end goes to the arena's arrays. `columns` is 1
  // or more.
  std::size_t Cut(std::size_t from, std::uint32_t columns, char* out);

 private:
  TByteMarks Mark(std::size_t at, char* out) const;
  void PutStarts(std::uint64_t cuts, std::size_t offset);
  bool EndRecords(const TByteMarks& marks, std::size_t at, std::size_t startsBefore);
  void EndRecord(std::size_t startsEnd);

  std::string_view text_;
  TRecordArena& arena_;
  char* out_ = nullptr;
  std::size_t startsAt_ = 0;     // the run's first start in the arena
  std::size_t recordStart_ = 0;  // the first start of the record that is being cut
  std::size_t next_ = 0;         // the line behind the last record that was ended
  std::uint32_t columns_ = 0;
};

}  // namespace VekApi
