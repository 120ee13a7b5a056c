#include "vekterm/Tables.h"

#include <algorithm>

#include "vekapi/Session.hpp"

namespace VekTerm {
namespace {

using VekApi::ToUtf8;

// A table may announce millions of columns that its records lack.
constexpr int kMostColumns = 1000;

std::string Text(const char* bytes) {
  return ToUtf8(bytes == nullptr ? "" : bytes);
}

Grid GridOf(const CVekTable& table) {
  const CVekProperties about = CVekTable_Properties(&table);
  const CVekFields fields = CVekTable_Fields(&table);
  Grid grid{Text(CVekProperties_Name(&about)), Text(CVekProperties_DisplayText(&about)), {}, {}, {}};
  const int columns = std::min(CVekFields_Count(&fields), kMostColumns);
  for (int i = 0; i < columns; ++i) {
    const CVekField field = CVekFields_IndexField(&fields, i);
    const CVekProperties column = CVekField_Properties(&field);
    grid.columns.push_back(Text(CVekProperties_Name(&column)));
    grid.headings.push_back(Text(CVekProperties_DisplayText(&column)));
  }
  for (int row = 0; row < CVekTable_RecordsCount(&table); ++row) {
    auto& cells = grid.rows.emplace_back();
    for (int i = 0; i < columns; ++i) cells.push_back(Text(CVekTable_RecordIndexField(&table, row, i)));
  }
  return grid;
}

}  // namespace

bool ShowTables(const CVekTaskResult& result, Output& output) {
  bool error = false;
  for (unsigned i = 0; i < CVekTaskResult_TableCount(&result); ++i) {
    const CVekTable table = CVekTaskResult_IndexTable(&result, i);
    const Grid grid = GridOf(table);
    error = error || grid.name == "error";
    output.Show(grid);
  }
  return error;
}

std::vector<std::string> Parts(std::string_view bytes) {
  std::vector<std::string> parts;
  for (std::size_t at = 0; at <= bytes.size();) {
    const std::size_t end = std::min(bytes.find('\x01', at), bytes.size());
    parts.push_back(ToUtf8(bytes.substr(at, end - at)));
    at = end + 1;
  }
  return parts;
}

Note ReportNote(std::string_view bytes) {
  Note note{"report", {}, {}, {}};
  std::string words;
  for (const std::string& part : Parts(bytes)) {
    note.text += (note.text.empty() ? "" : " ") + part;
    const std::size_t equals = part.find('=');
    if (equals == std::string::npos || equals == 0) {
      words += (words.empty() ? "" : " ") + part;
    } else {
      note.values.emplace_back(part.substr(0, equals), part.substr(equals + 1));
    }
  }
  note.fields.push_back({"words", words});
  return note;
}

}  // namespace VekTerm
