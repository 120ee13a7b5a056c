#include "result/RecordStore.h"

#include <algorithm>
#include <cstring>

#include "result/TextMarks.h"

namespace VekApi {

void TRecordStore::Prepare(std::size_t bytes) {
  constexpr std::size_t kFirstBytes = 32 * 1024;  // from so many can be told what the others need
  constexpr std::size_t kBytesPerValue = 16;
  textBytes = bytes;
  copy.Need(bytes + kSlack);
  starts.Need(std::min(bytes, kFirstBytes) / kBytesPerValue + kSlack);
}

// As much as the whole text takes if the rest is like what was read, and some more.
std::size_t TRecordStore::Enough(std::size_t used, std::size_t more, std::size_t read) const {
  const std::size_t expected = read > 0 ? textBytes * used / read : used;
  return std::max(expected + expected / 16, used + used / 4) + more;
}

void TRecordStore::GrowStarts(std::size_t more, std::size_t read) {
  starts.Grow(Enough(startsCount, more, read), startsCount);
}

void TRecordStore::NeedEnds(std::size_t more, std::size_t read) {
  if (ends.Count() - endsCount_ < more) ends.Grow(Enough(endsCount_, more, read), endsCount_);
}

void TRecordStore::Clear(std::size_t& room) {
  constexpr std::size_t kKeptRuns = 1024;
  runs.Clear(kKeptRuns);
  startsCount = endsCount_ = groupAt_ = textBytes = recordsEnd = 0;
  starts.Keep(room);
  ends.Keep(room);
  copy.Keep(room);
}

void TRecordStore::GiveBack() {
  starts.GiveBack();
  ends.GiveBack();
  copy.GiveBack();
}

void TRecordStore::OpenRun(std::uint32_t before, std::uint32_t columns, std::size_t startsAt) {
  NeedEnds(kGroup, 0);
  lastRun_ = &runs.Add(before, columns, static_cast<std::uint32_t>(startsAt),
                       static_cast<std::uint32_t>(endsCount_), 0U);
  groupAt_ = startsAt;
}

void TRecordStore::OpenGroup(std::size_t start) {
  NeedEnds(kGroupHead + kGroup, starts.Data()[start]);
  const std::size_t before = start - lastRun_->startsAt;
  ends.Data()[endsCount_++] = static_cast<std::uint16_t>(before & 0xFFFF);
  ends.Data()[endsCount_++] = static_cast<std::uint16_t>(before >> 16);
  groupAt_ = start;
}

// Opens the group or the run that the record takes.
void TRecordStore::PrepareEnd(std::size_t start, std::size_t end) {
  const TRun& last = *lastRun_;
  const bool opensGroup = last.rows % kGroup == 0;
  const bool tooMany = end - (opensGroup ? start : groupAt_) >= kRunEnd;
  const bool hasEnded = last.rows == 1 && ends.Data()[last.endsAt] == kRunEnd;
  if (tooMany || hasEnded) {
    OpenRun(LastRun(), last.columns, start);
  } else if (opensGroup) {
    OpenGroup(start);
  }
}

// Just past the NUL of the record's last value.
std::size_t TRecordStore::TextEnd(const TRun& run, TStarts record) const {
  const std::size_t values = std::min<std::size_t>(record.end - record.first, run.columns);
  const std::uint32_t last = starts.Data()[record.first + values - 1];
  return last + std::strlen(copy.Data() + last) + 1;
}

void TRecordStore::Join(char* text) const {
  for (std::uint32_t at = 0; at < runs.Size(); ++at) {
    const TRun& run = runs[at];
    for (std::size_t row = 0; run.columns > 0 && row < run.rows; ++row) {
      const TStarts record = StartsOf(run, StartsEnd(at), row);
      for (std::size_t i = record.first + 1; i < record.end; ++i) text[starts.Data()[i] - 1] = kValueEnd;
      // The text or a NUL may have ended the last line.
      const std::size_t end = TextEnd(run, record);
      if (end <= recordsEnd) text[end - 1] = kLineEnd;
    }
  }
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
