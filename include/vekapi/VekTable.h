#ifndef VEKAPI_VEKTABLE_H
#define VEKAPI_VEKTABLE_H

#include <string>

#include "vekapi/VekExport.h"
#include "vekapi/VekFields.h"
#include "vekapi/VekProperties.h"
#include "vekapi/VekTypes.h"

namespace VekApi {

// A table of a result: its attributes, its columns, and records of one text for each column.
//
// Copies are independent; the copy of a result's table holds the memory of that result. Any number of threads
// may read a table that nobody changes.
class VEKAPI_EXPORT VekTable {
 public:
  explicit VekTable(const VekProperties& properties);
  VekTable(const VekTable& other);
  VekTable& operator=(const VekTable& other);
  // What was moved from has no columns and no records.
  VekTable(VekTable&& other) noexcept;
  VekTable& operator=(VekTable&& other) noexcept;
  ~VekTable();

  // The table's name and attributes. Its address is the table's own.
  const VekProperties& Properties() const;
  VekProperties& Properties();

  // Columns that are set later do not change the records that are there.
  const VekFields& Fields() const;
  VekFields& Fields();

  int RecordsCount() const;

  // Appends the record of a line: values with 0x01 between them. Columns for which the line has no value read
  // ""; what goes beyond the last column stays, 0x01 included, in the last column's value. A record that
  // comes while the table has no columns is counted and has no values. Lines of 4 GiB and more throw
  // std::length_error.
  void AddRecord(const std::string& line);

  // The value of a column, ended by NUL; null when the record or, in that record, the column does not exist.
  // The pointer stays valid while the table lives and is not assigned to or moved from; AddRecord does not
  // disturb it.
  const char* RecordField(int row, int col) const;

  // The same by the column's index; null for a null `field`. A column of another table serves as its number.
  const char* RecordField(int row, const VekField* field) const;

  // The attribute "mkt" as a 32-bit number in C notation (10, 0xA, 012), 0 when there is none. It may be a
  // number that has no member in the enumeration.
  EVekAccMkt MktFlag() const;

 private:
  friend class TResultBody;

  class VEKAPI_HIDDEN TRecords;

  TRecords& Records();

  VekProperties
      properties_;  // stays first: the flat functions hand out the table's address as that of its properties
  VekFields fields_;
  TRecords* records_ = nullptr;  // null: no record
};

}  // namespace VekApi

#endif  // VEKAPI_VEKTABLE_H
