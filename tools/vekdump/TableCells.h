// The cells of a result's table in UTF-8, up to a maximum number of columns: a table may announce millions
// that its records lack.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "vekapi/VekTable.h"

namespace VekDump {

class TableCells {
 public:
  TableCells(const VekApi::VekTable& table, std::size_t mostColumns);

  // The headings shown to users, or the column names.
  std::vector<std::string> Headings() const;
  std::vector<std::string> Names() const;
  // Without empty cells at its end.
  std::vector<std::string> Row(int row) const;

 private:
  const VekApi::VekTable& table_;
  const int columns_;
};

}  // namespace VekDump
