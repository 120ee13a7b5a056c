#ifndef VEKAPI_VEKTABLE_H
#define VEKAPI_VEKTABLE_H

#include <cstdint>
#include <string>

#include "vekapi/VekExport.h"
#include "vekapi/VekFields.h"
#include "vekapi/VekProperties.h"
#include "vekapi/VekTypes.h"

namespace VekApi {

// Consecutive records of a table as they lie in the library's memory; nothing is copied. Value `c` of the
// block's record `r` is at text + starts[r * stride + c] and ends with NUL, for c below `values`. The bytes
// from text + starts[0] up to text + textEnd are these values and their NULs alone, record after record.
struct VekRecordBlock {
  const char* text = nullptr;             // null if there are no values
  const std::uint32_t* starts = nullptr;  // positions in `text`
  std::uint32_t textEnd = 0;              // where the values end in `text`
  int records = 0;                        // 0: there is no such record
  int columns = 0;                        // of each record; those from `values` on are ""
  int values = 0;                         // of each record in `text`
  int stride = 0;  // `values`, or more if the records have surplus values, which belong to the last column's
};

// A table of a result: attributes, columns, and records with one text per column.
//
// Copies are independent; a copy of a result's table keeps that result's memory alive. A table that is not
// being changed may be read by any number of threads.
class VEKAPI_EXPORT VekTable {
 public:
  // A table without columns and records; its name and attributes are `properties`.
  explicit VekTable(const VekProperties& properties);
  VekTable(const VekTable& other);
  VekTable& operator=(const VekTable& other);
  // The moved-from table has no columns and no records.
  VekTable(VekTable&& other) noexcept;
  VekTable& operator=(VekTable&& other) noexcept;
  ~VekTable();

  // The table's name and attributes. The returned reference has the address of the table itself.
  const VekProperties& Properties() const;
  VekProperties& Properties();

  // Changing the columns does not affect existing records.
  const VekFields& Fields() const;
  VekFields& Fields();

  // Number of records.
  int RecordsCount() const;

  // Appends a record: values separated by 0x01. Missing values are "". Surplus values stay in the value of
  // the last column, with their 0x01 bytes. Without columns, the record is counted but has no values. Throws
  // std::length_error if `line` is 4 GiB or longer.
  void AddRecord(const std::string& line);

  // The value of one column of one record, terminated by NUL. `row` and `col` count from 0. Null if there is
  // no such record, or no such column in that record. The pointer is valid until the table is destroyed,
  // assigned to or moved from; AddRecord does not invalidate it.
  const char* RecordField(int row, int col) const;

  // The same, by the index of `field`, which may belong to another table; null if `field` is null.
  const char* RecordField(int row, const VekField* field) const;

  // The records from `row` on that can be returned together: those that follow each other in the text and
  // have the same number of values. A table of complete records is usually one block. Takes time in
  // proportion to the block. Its pointers are valid as those of RecordField.
  VekRecordBlock RecordBlock(int row) const;

  // The attribute "mkt" as a 32-bit number in C notation (10, 0xA, 012); 0 if there is none. The value need
  // not be a member of the enumeration.
  EVekAccMkt MktFlag() const;

 private:
  friend class TResultBody;

  class VEKAPI_HIDDEN TRecords;

  TRecords& Records();

  VekProperties
      properties_;  // must be first: the flat functions use the table's address as that of its properties
  VekFields fields_;
  TRecords* records_ = nullptr;  // null: no records
};

}  // namespace VekApi

#endif  // VEKAPI_VEKTABLE_H
