#include "result/ResultReader.h"

#include <algorithm>

#include "result/TableRecords.h"

namespace VekApi {

void VekTaskResult::TReader::Read() {
  std::size_t at = 0;
  while (at < text_.size() && text_[at] != '\0') {
    if (!EndsRecords(text_, at) && table_) {
      at = OnRecords(at);
    } else {
      const std::size_t end = LineEnd(at);
      const std::string_view rest = text_.substr(at + 1, end - at - 1);
      if (text_[at] == kTableMark) OnHeader(rest);
      if (text_[at] == kFieldsMark) OnFields(rest);
      at = end + 1;
    }
    if (at <= text_.size() && text_[at - 1] == '\0') return;
  }
}

// Where the line ends: at a line end, a NUL, or with the text.
std::size_t VekTaskResult::TReader::LineEnd(std::size_t from) const {
  const std::string_view line = text_.substr(from, text_.find(kLineEnd, from) - from);
  return from + std::min(line.find('\0'), line.size());
}

void VekTaskResult::TReader::OnHeader(std::string_view text) {
  table_ = &result_.AddTable(text);
}

// A table keeps its columns: further ones are those of the unnamed table.
void VekTaskResult::TReader::OnFields(std::string_view text) {
  if (!table_ || table_->fields_.Count() > 0) table_ = &result_.AddTable({});
  table_->fields_.Read(text);
}

char* VekTaskResult::TReader::Copy() {
  if (!copy_) copy_ = arena_.NewText(text_.size() + TRecordCutter::kSlack);
  return copy_;
}

std::size_t VekTaskResult::TReader::OnRecords(std::size_t from) {
  const auto columns = static_cast<std::uint32_t>(table_->fields_.Count());
  if (columns == 0) return OnBareRecords(from);
  VekTable::TRecords& records = table_->Records();
  char* const out = Copy() + from;
  const std::size_t startsAt = arena_.starts.Size();
  const std::size_t endsAt = arena_.ends.Size();
  const std::size_t end = cutter_.Cut(from, columns, out);
  records.AddRun(arena_, out, end - from, columns, startsAt, endsAt);
  return end;
}

std::size_t VekTaskResult::TReader::OnBareRecords(std::size_t from) {
  std::size_t rows = 0;
  std::size_t at = from;
  do {
    at = LineEnd(at) + 1;
    ++rows;
  } while (!EndsRecords(text_, at) && text_[at - 1] != '\0');
  table_->Records().AddBare(rows);
  return at;
}

}  // namespace VekApi
