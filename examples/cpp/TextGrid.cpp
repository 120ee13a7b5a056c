#include "TextGrid.h"

#include <algorithm>
#include <cstddef>

#include "TextWidth.h"

namespace {

struct Column {
  std::size_t width = 0;
  bool numbers = true;
};

bool IsNumber(const std::string& text) {
  return !text.empty() && text.find_first_not_of("+-.,0123456789") == std::string::npos;
}

std::vector<Column> Measure(const std::vector<std::vector<std::string>>& rows) {
  std::vector<Column> columns;
  for (const auto& row : rows) {
    if (row.size() > columns.size()) columns.resize(row.size());
    for (std::size_t i = 0; i < row.size(); ++i) {
      columns[i].width = std::max(columns[i].width, TextWidth(row[i]));
      if (&row != &rows.front() && !IsNumber(row[i])) columns[i].numbers = false;
    }
  }
  return columns;
}

void AppendRow(std::string& out, const std::vector<std::string>& row, const std::vector<Column>& columns) {
  for (std::size_t i = 0; i < row.size(); ++i) {
    const std::string padding(columns[i].width - TextWidth(row[i]), ' ');
    if (i != 0) out += "  ";
    out += columns[i].numbers ? padding + row[i] : row[i] + padding;
  }
  out.erase(out.find_last_not_of(' ') + 1);
  out += '\n';
}

}  // namespace

std::string FormatGrid(const std::vector<std::vector<std::string>>& rows) {
  const std::vector<Column> columns = Measure(rows);
  std::string out;
  for (const auto& row : rows) {
    AppendRow(out, row, columns);
    if (&row != &rows.front()) continue;
    std::vector<std::string> rule;
    rule.reserve(columns.size());
    for (const Column& column : columns) rule.emplace_back(column.width, '-');
    AppendRow(out, rule, columns);
  }
  return out;
}
