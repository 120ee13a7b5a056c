// The cells of a result's table in UTF-8, up to a number of columns: a table may announce millions that its
// records do not have.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "vekapi/VekTable.h"

namespace VekDump {

class TableCells {
 public:
  TableCells(const VekApi::VekTable& table, std::size_t mostColumns);

  // What users read above the columns, or their names.
  std::vector<std::string> Headings() const;
  std::vector<std::string> Names() const;
  // Without the empty cells at its end.
  std::vector<std::string> Row(int row) const;

 private:
  const VekApi::VekTable& table_;
  const int columns_;
};

}  // namespace VekDump
