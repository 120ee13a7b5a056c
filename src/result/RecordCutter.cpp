#include "result/RecordCutter.h"

#include <bit>
#include <cstring>
#include <utility>

#include "result/Lines.h"

namespace VekApi {
namespace {

// Marks the block at `at`; positions beyond the text read as NULs, which end it.
TByteMarks Mark(std::string_view text, std::size_t at, char* out) {
  const char* block = text.data() + at;
  char last[kMarkedBytes];
  if (text.size() - at < kMarkedBytes) {
    std::memset(last, 0, sizeof last);
    std::memcpy(last, block, text.size() - at);
    block = last;
  }
  return CopyCutting(block, out);
}

// Puts the positions behind the lowest bits, without asking whether there are as many; unrolled.
template <std::size_t... i>
void PutLowest(std::uint64_t& cuts, std::uint32_t behind, std::uint32_t* starts, std::index_sequence<i...>) {
  constexpr std::uint64_t kNotZero = std::uint64_t{1} << 63;
  const auto next = [&] {
    const auto bit = static_cast<std::uint32_t>(std::countr_zero(cuts | kNotZero));
    cuts &= cuts - 1;
    return behind + bit;
  };
  ((starts[i] = next()), ...);
}

// A value starts after each separator, and after each line end as the next record's first value.
std::size_t PutStarts(std::uint64_t cuts, std::size_t offset, std::uint32_t* starts) {
  // Writes eight at a time, possibly beyond the count: the loop count is then easier to predict.
  constexpr std::size_t kAtOnce = 8;
  const std::size_t count = CountBits(cuts);
  for (std::size_t put = 0; put < count; put += kAtOnce)
    PutLowest(cuts, static_cast<std::uint32_t>(offset), starts + put, std::make_index_sequence<kAtOnce>());
  return count;
}

}  // namespace

std::size_t TRecordCutter::Cut(std::size_t from) {
  columns_ = store_.runs.back().columns;
  recordStart_ = store_.startsCount;
  store_.starts.Data()[store_.startsCount++] = static_cast<std::uint32_t>(from);
  for (std::size_t at = from; !work_.Spend(kMarkedBytes); at += kMarkedBytes) {
    TByteMarks marks = Mark(text_, at, store_.copy.Data() + at);
    const auto end = static_cast<unsigned>(std::countr_zero(marks.nuls));
    if (end < kMarkedBytes) {
      marks.cuts &= BitsBelow(end);
      marks.lines &= BitsBelow(end);
    }
    const std::size_t startsBefore = store_.startsCount;
    store_.startsCount += PutStarts(marks.cuts, at + 1, store_.starts.Data() + startsBefore);
    if (EndRecords(marks, at, startsBefore)) return next_;
    if (end == kMarkedBytes) continue;
    EndRecord(store_.startsCount);
    break;
  }
  return text_.size();
}

// Ends a record at each line end of the block. Returns true if the next line is not a record.
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

// Separators beyond the last column belong to its value: restores their bytes.
void TRecordCutter::EndRecord(std::size_t startsEnd) {
  const std::uint32_t* const starts = store_.starts.Data();
  for (std::size_t extra = recordStart_ + columns_; extra < startsEnd; ++extra)
    store_.copy.Data()[starts[extra] - 1] = kValueEnd;
  store_.EndRecord(recordStart_, startsEnd);
  recordStart_ = startsEnd;
}

}  // namespace VekApi
