#include "vekdump/TableCells.h"

#include <algorithm>

#include "vekdump/Text.h"

namespace VekDump {

TableCells::TableCells(const VekApi::VekTable& table, std::size_t mostColumns)
    : table_(table),
      columns_(static_cast<int>(
          std::min<std::size_t>(static_cast<std::size_t>(table.Fields().Count()), mostColumns))) {}

std::vector<std::string> TableCells::Headings() const {
  std::vector<std::string> texts;
  for (int i = 0; i < columns_; ++i)
    texts.push_back(WireText(table_.Fields().Field(i)->Properties().DisplayText()));
  return texts;
}

std::vector<std::string> TableCells::Names() const {
  std::vector<std::string> texts;
  for (int i = 0; i < columns_; ++i) texts.push_back(WireText(table_.Fields().Field(i)->Properties().Name()));
  return texts;
}

std::vector<std::string> TableCells::Row(int row) const {
  int columns = columns_;
  const auto isEmpty = [&](int column) {
    const char* const cell = table_.RecordField(row, column);
    return cell == nullptr || *cell == '\0';
  };
  while (columns > 0 && isEmpty(columns - 1)) --columns;
  std::vector<std::string> texts;
  for (int i = 0; i < columns; ++i) {
    const char* const cell = table_.RecordField(row, i);
    texts.push_back(WireText(cell == nullptr ? "" : cell));
  }
  return texts;
}

}  // namespace VekDump
