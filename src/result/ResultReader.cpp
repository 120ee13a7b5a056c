#include "result/ResultReader.h"

#include <algorithm>

#include "result/KeyedHash.h"
#include "result/Lines.h"

namespace VekApi {
namespace {

// Number of columns in a fields text, which is the number of different names.
std::uint32_t CountColumns(std::string_view fields, TNameTable& names, TWork& work) {
  names.Reset(TNameTable::MostNames(fields.size()));
  std::uint32_t count = 0;
  for (std::size_t at = 0;;) {
    const std::size_t end = FindEither(fields, at, kValueEnd, '\0', work);
    const std::string_view name = NameOf(fields.substr(at, end - at), work);
    std::uint32_t& slot = names.Slot(KeyedHash(name, work), [&](std::uint32_t other) {
      const std::string_view rest = fields.substr(other);
      return StartsWith(rest, name, work) &&
             (rest.size() == name.size() || rest[name.size()] == kValueEnd || rest[name.size()] == kPartEnd);
    });
    if (slot == kNone) {
      slot = static_cast<std::uint32_t>(at);
      ++count;
    }
    if (end == fields.size() || work.Spend(end - at + 1)) return count;
    at = end + 1;
  }
}

}  // namespace

bool TResultReader::Read() {
  body_.records.Prepare(text_.size());
  for (std::size_t at = 0; at < text_.size() && text_[at] != '\0';) {
    at = OnLine(at);
    if (work_.Stopped()) return false;
  }
  CopyUpTo(text_.size());
  kept_.Give(body_);
  return !work_.Stopped();
}

void TResultReader::CopyUpTo(std::size_t end) {
  while (copied_ < end) {
    const std::string_view piece = text_.substr(copied_, std::min(end - copied_, TWork::kPiece));
    piece.copy(body_.records.copy.Data() + copied_, piece.size());
    copied_ += piece.size();
    if (work_.Spend(piece.size())) return;
  }
}

std::size_t TResultReader::OnLine(std::size_t at) {
  if (text_[at] == kTableMark) return OnHeader(at);
  if (text_[at] == kFieldsMark) return OnFields(at);
  newHeaderAt_ = kNone;
  if (table_ != kNone) return Table().columns > 0 ? OnRecords(at) : OnBareRecords(at);
  const std::size_t next = NextLine(text_, LineEnd(text_, at, work_));
  work_.Spend(next - at);
  return next;
}

std::size_t TResultReader::OnHeader(std::size_t at) {
  newHeaderAt_ = kNone;
  CopyUpTo(at);
  if (const std::size_t next = OnKeptHeader(at)) return next;
  const std::size_t end = LineEnd(text_, at, work_);
  const std::size_t next = NextLine(text_, end);
  CopyUpTo(next);
  const std::string_view name = NameOf(text_.substr(at + 1, end - at - 1), work_);
  table_ = body_.Find(name, work_);
  if (table_ != kNone) return next;
  table_ = body_.Append(static_cast<std::uint32_t>(at + 1), name, text_.substr(end), work_);
  if (table_ < TKeptHeaders::kCount && !name.empty()) newHeaderAt_ = at;
  return next;
}

// Returns 0 if the header is not cached, or the result has its table already.
std::size_t TResultReader::OnKeptHeader(std::size_t at) {
  if (body_.tables.Size() >= TKeptHeaders::kCount) return 0;
  TKeptHeader* const kept = kept_.Find(text_.substr(at));
  if (!kept) return 0;
  const std::string_view name = text_.substr(at + 1, kept->nameBytes);
  if (body_.Find(name, work_) != kNone) return 0;
  table_ = body_.Append(static_cast<std::uint32_t>(at + 1), name, text_.substr(at), work_);
  kept_.Use(*kept, table_);
  Table().fields = static_cast<std::uint32_t>(at + kept->fieldsAt);
  Table().columns = kept->columns;
  return at + kept->lines.size();
}

// A table keeps its first columns: further fields lines belong to the unnamed table.
std::size_t TResultReader::OnFields(std::size_t at) {
  const std::size_t end = LineEnd(text_, at, work_);
  const std::size_t next = NextLine(text_, end);
  CopyUpTo(next);
  if (table_ == kNone || Table().columns > 0) {
    table_ = body_.Find({}, work_);
    if (table_ == kNone) table_ = body_.Append(kNone, {}, text_.substr(end), work_);
    newHeaderAt_ = kNone;
  }
  KeepBareRecords();
  Table().fields = static_cast<std::uint32_t>(at + 1);
  Table().columns = 1;  // or more
  Table().columns = ReadColumns(end, next);
  newHeaderAt_ = kNone;
  return next;
}

// Tables of cached headers are created right away. A header that a NUL ends is not cached: nothing may
// follow.
std::uint32_t TResultReader::ReadColumns(std::size_t end, std::size_t next) {
  const bool isWhole = next > end && text_[end] == kLineEnd;
  if (newHeaderAt_ != kNone && isWhole) {
    const std::string_view lines = text_.substr(newHeaderAt_, next - newHeaderAt_);
    if (TKeptHeaders::Takes(lines)) return kept_.Keep(lines, body_.Make(table_));
  }
  const std::size_t from = Table().fields;
  return CountColumns(text_.substr(from, end - from), columnNames_, work_);
}

// Records before the table's first columns get their own run.
void TResultReader::KeepBareRecords() {
  TTableEntry& table = Table();
  if (table.columns > 0 || table.fields == 0) return;
  body_.records.OpenRun(kNone, 0);
  body_.records.runs.Back().rows = table.fields;
  table.lastRun = body_.records.LastRun();
}

// Records directly following the previous ones belong to the same run.
void TResultReader::OpenRun(TTableEntry& table) {
  TChunks<TRun>& runs = body_.records.runs;
  const bool goesOn =
      table.lastRun != kNone && table.lastRun + 1 == runs.Size() && runs.Back().columns == table.columns;
  if (!goesOn) body_.records.OpenRun(table.lastRun, table.columns);
}

std::size_t TResultReader::OnRecords(std::size_t at) {
  OpenRun(Table());
  CopyUpTo(at);
  const std::size_t next = cutter_.Cut(at);
  copied_ = body_.records.recordsEnd;
  Table().lastRun = body_.records.LastRun();
  return next;
}

std::size_t TResultReader::OnBareRecords(std::size_t at) {
  std::uint32_t& rows = Table().fields;
  do {
    const std::size_t next = NextLine(text_, LineEnd(text_, at, work_));
    ++rows;
    if (work_.Spend(next - at)) break;
    at = next;
  } while (!EndsRecords(text_, at));
  return at;
}

}  // namespace VekApi
