#include "result/RecordCutter.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "result/Lines.h"

namespace VekApi {

std::size_t TRecordCutter::Cut(std::size_t from) {
  constexpr std::size_t kMostBlocks = 32;  // few enough for the cache, and for the part of the stack in use
  TByteMarks marks[kMostBlocks];
  columns_ = store_.runs.Back().columns;
  store_.NeedStarts(kMarkedBytes + 1, from);
  recordStart_ = store_.startsCount;
  store_.starts.Data()[store_.startsCount++] = static_cast<std::uint32_t>(from);
  // Few blocks first: the next table may be near.
  std::size_t at = from;
  for (std::size_t blocks = 1;;) {
    const TByteMarks* const end = marks + Mark(at, blocks, marks);
    for (const TByteMarks* block = marks; block < end; ++block, at += kMarkedBytes)
      if (block->lines && EndRecords(*block, at)) return next_;
    if (end[-1].nuls)
      return EndAtNul(at - kMarkedBytes + static_cast<std::size_t>(std::countr_zero(end[-1].nuls)));
    if (work_.Spend(blocks * kMarkedBytes)) return text_.size();
    blocks = std::min(2 * blocks, kMostBlocks);
    store_.NeedStarts(kMarkedBytes, at);
  }
}

// Marks blocks of the text from `at` on, at most `blocks` and as many as there is room for, and returns their
// number. Positions beyond the text read as NULs, which end it.
std::size_t TRecordCutter::Mark(std::size_t at, std::size_t blocks, TByteMarks* marks) {
  const std::size_t left = text_.size() - at;
  const std::size_t whole = std::min(blocks, left / kMarkedBytes);
  std::uint32_t* const starts = store_.starts.Data();
  TCutting cutting{text_.data() + at, store_.copy.Data() + at, static_cast<std::uint32_t>(at),
                   starts + store_.startsCount, starts + store_.starts.Count()};
  std::size_t done = CutBlocks(cutting, whole, marks);
  if (done == whole && whole < blocks && (done == 0 || !marks[done - 1].nuls)) {
    char last[kMarkedBytes] = {};
    std::memcpy(last, cutting.text, left - whole * kMarkedBytes);
    cutting.text = last;
    done += CutBlocks(cutting, 1, marks + whole);
  }
  store_.startsCount = static_cast<std::size_t>(cutting.starts - starts);
  return done;
}

// Ends a record at each line end of the block. Returns true if the next line is not a record.
bool TRecordCutter::EndRecords(const TByteMarks& marks, std::size_t at) {
  const auto startsBefore = static_cast<std::size_t>(marks.starts - store_.starts.Data());
  for (std::uint64_t lines = marks.lines; lines; lines &= lines - 1) {
    const auto bit = static_cast<unsigned>(std::countr_zero(lines));
    const std::size_t startsEnd = startsBefore + CountBits(marks.cuts & BitsBelow(bit));
    EndRecord(startsEnd);
    next_ = at + bit + 1;
    if (!EndsRecords(text_, next_)) continue;
    store_.recordsEnd = next_;
    store_.startsCount = startsEnd;
    return true;
  }
  return false;
}

// The text ends in a record.
std::size_t TRecordCutter::EndAtNul(std::size_t nul) {
  EndRecord(store_.startsCount);
  store_.recordsEnd = nul;
  return text_.size();
}

// Separators beyond the last column belong to its value: restores their bytes.
void TRecordCutter::EndRecord(std::size_t startsEnd) {
  const std::uint32_t* const starts = store_.starts.Data();
  for (std::size_t extra = recordStart_ + columns_; extra < startsEnd; ++extra)
    store_.copy.Data()[starts[extra] - 1] = kValueEnd;
  store_.EndRecord(recordStart_, startsEnd);
  recordStart_ = startsEnd;
}

}  // namespace VekApi
