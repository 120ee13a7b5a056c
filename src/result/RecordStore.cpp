#include "result/RecordStore.h"

#include <algorithm>
#include <cstring>

namespace VekApi {

void TRecordStore::Prepare(std::size_t bytes, const TMarkCounts& counts) {
  const std::size_t records = counts.lines - counts.marked;
  copy.Need(bytes + kSlack);
  starts.Need(counts.values + records + kSlack + 4);
  ends.Need(Words(records + 1) + kGroupHead);
}

void TRecordStore::Clear(std::size_t& room) {
  runs.clear();
  startsCount = endsCount_ = groupAt_ = 0;
  starts.Keep(room);
  ends.Keep(room);
  copy.Keep(room);
}

void TRecordStore::OpenRun(std::uint32_t before, std::uint32_t columns, std::size_t startsAt) {
  runs.push_back(
      {before, columns, static_cast<std::uint32_t>(startsAt), static_cast<std::uint32_t>(endsCount_), 0});
  groupAt_ = startsAt;
}

void TRecordStore::OpenGroup(std::size_t start) {
  const std::size_t before = start - runs.back().startsAt;
  ends.Data()[endsCount_++] = static_cast<std::uint16_t>(before & 0xFFFF);
  ends.Data()[endsCount_++] = static_cast<std::uint16_t>(before >> 16);
  groupAt_ = start;
}

void TRecordStore::EndRecord(std::size_t start, std::size_t end) {
  const TRun& last = runs.back();
  const bool opensGroup = last.rows % kGroup == 0;
  const bool tooMany = end - (opensGroup ? start : groupAt_) >= kRunEnd;
  const bool hasEnded = last.rows == 1 && ends.Data()[last.endsAt] == kRunEnd;
  if (last.rows > 0 && (tooMany || hasEnded)) {
    OpenRun(LastRun(), last.columns, start);
  } else if (last.rows > 0 && opensGroup) {
    OpenGroup(start);
  }
  ends.Data()[endsCount_++] = static_cast<std::uint16_t>(std::min<std::size_t>(end - groupAt_, kRunEnd));
  ++runs.back().rows;
}

// Just past the NUL of the record's last value.
std::size_t TRecordStore::TextEnd(const TRun& run, TStarts record) const {
  const std::size_t values = std::min<std::size_t>(record.end - record.first, run.columns);
  const std::uint32_t last = starts.Data()[record.first + values - 1];
  return last + std::strlen(copy.Data() + last) + 1;
}

VekRecordBlock TRecordStore::Block(const TRun& run, std::size_t startsEnd, std::size_t row) const {
  const TStarts first = StartsOf(run, startsEnd, row);
  const std::size_t stride = first.end - first.first;
  std::size_t textEnd = TextEnd(run, first);
  std::size_t behind = row + 1;
  for (; behind < run.rows; ++behind) {
    const TStarts next = StartsOf(run, startsEnd, behind);
    if (next.end - next.first != stride || starts.Data()[next.first] != textEnd) break;
    textEnd = TextEnd(run, next);
  }
  return {copy.Data(),
          starts.Data() + first.first,
          static_cast<std::uint32_t>(textEnd),
          static_cast<int>(behind - row),
          static_cast<int>(run.columns),
          static_cast<int>(std::min<std::size_t>(stride, run.columns)),
          static_cast<int>(stride)};
}

}  // namespace VekApi
