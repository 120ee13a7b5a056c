#include "result/RecordStore.h"

#include <algorithm>

#include "result/ByteMarks.h"

namespace VekApi {
namespace {

// Texts up to this length get room for the worst, longer ones for what a count of their marks says.
constexpr std::size_t kUncounted = 32 * 1024;

struct TMarks {
  std::size_t values = 0;
  std::size_t lines = 0;
};

// How often a byte in the piece starts a line.
std::size_t CountLineStarts(std::string_view text, std::size_t from, std::size_t to, char byte) {
  std::size_t count = 0;
  for (std::size_t at = from; (at = text.substr(0, to).find(byte, at)) < to; ++at)
    if (at > 0 && text[at - 1] == kLineEnd) ++count;
  return count;
}

// Lines that are no records count as none.
bool Count(std::string_view text, TWork& work, TMarks& marks) {
  for (std::size_t at = 0; at < text.size(); at += kCountedBytes) {
    const std::string_view piece = text.substr(at, kCountedBytes);
    const std::size_t end = at + piece.size();
    marks.values += CountByte(piece, kValueEnd);
    marks.lines += CountByte(piece, kLineEnd);
    marks.lines -= CountLineStarts(text, at, end, kTableMark) + CountLineStarts(text, at, end, kFieldsMark);
    if (work.Spend(piece.size())) return false;
  }
  return true;
}

}  // namespace

bool TRecordStore::Prepare(std::string_view text, TWork& work) {
  Clear();
  TMarks marks{text.size(), text.size()};
  if (text.size() > kUncounted) {
    marks = {};
    if (!Count(text, work, marks)) return false;
    marks.values += marks.lines;
  }
  copy.Need(text.size() + kSlack);
  starts.Need(marks.values + kSlack + 4);
  ends.Need(Words(marks.lines + 1) + kGroupHead);
  return true;
}

void TRecordStore::Clear() {
  runs.clear();
  startsCount = endsCount_ = groupAt_ = 0;
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

}  // namespace VekApi
