#include "result/RecordCutter.h"

#include <bit>
#include <cstring>

#include "result/Lines.h"

namespace VekApi {

std::size_t TRecordCutter::Cut(std::size_t from) {
  columns_ = store_.runs.back().columns;
  recordStart_ = store_.startsCount;
  store_.starts.Data()[store_.startsCount++] = static_cast<std::uint32_t>(from);
  for (std::size_t at = from; !work_.Spend(kMarkedBytes); at += kMarkedBytes) {
    TByteMarks marks = Mark(at, store_.copy.Data() + at);
    const auto end = static_cast<unsigned>(std::countr_zero(marks.nuls));
    if (end < kMarkedBytes) {
      marks.cuts &= BitsBelow(end);
      marks.lines &= BitsBelow(end);
    }
    const std::size_t startsBefore = store_.startsCount;
    PutStarts(marks.cuts, at + 1);
    if (EndRecords(marks, at, startsBefore)) return next_;
    if (end == kMarkedBytes) continue;
    EndRecord(store_.startsCount);
    break;
  }
  return text_.size();
}

// The block at `at`; what lies beyond the text reads as NULs, which end it.
TByteMarks TRecordCutter::Mark(std::size_t at, char* out) const {
  if (text_.size() - at >= kMarkedBytes) return CopyCutting(text_.data() + at, out);
  char last[kMarkedBytes] = {};
  std::memcpy(last, text_.data() + at, text_.size() - at);
  return CopyCutting(last, out);
}

// A value starts behind each separator, and behind each line end: the next record's first.
void TRecordCutter::PutStarts(std::uint64_t cuts, std::size_t offset) {
  std::uint32_t* next = store_.starts.Data() + store_.startsCount;
  const std::size_t count = CountBits(cuts);
  // Four at a time, some of them beside the count: how often the loop turns is easier to foresee.
  for (std::size_t put = 0; put < count; put += 4, next += 4)
    for (int i = 0; i < 4; ++i, cuts &= cuts - 1)
      next[i] = static_cast<std::uint32_t>(offset + static_cast<std::size_t>(std::countr_zero(cuts)));
  store_.startsCount += count;
}

// Ends a record at each line end of the block; true when the next line is no record.
bool TRecordCutter::EndRecords(const TByteMarks& marks, std::size_t at, std::size_t startsBefore) {
  for (std::uint64_t lines = marks.lines; lines; lines &= lines - 1) {
    const auto bit = static_cast<unsigned>(std::countr_zero(lines));
    const std::size_t startsEnd = startsBefore + CountBits(marks.cuts & BitsBelow(bit));
    EndRecord(startsEnd);
    next_ = at + bit + 1;
    if (!EndsRecords(text_, next_)) continue;
    store_.startsCount = startsEnd;
    return true;
  }
  return false;
}

// Separators beyond the last column belong to its value: they get back their byte.
void TRecordCutter::EndRecord(std::size_t startsEnd) {
  const std::uint32_t* const starts = store_.starts.Data();
  for (std::size_t extra = recordStart_ + columns_; extra < startsEnd; ++extra)
    store_.copy.Data()[starts[extra] - 1] = kValueEnd;
  store_.EndRecord(recordStart_, startsEnd);
  recordStart_ = startsEnd;
}

}  // namespace VekApi
