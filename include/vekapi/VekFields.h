#ifndef VEKAPI_VEKFIELDS_H
#define VEKAPI_VEKFIELDS_H

#include <string>

#include "vekapi/VekExport.h"
#include "vekapi/VekField.h"

namespace VekApi {

// The columns of a table, in order; no two have the same name.
//
// Pointers to columns live until the set is cleared, set again, assigned to or destroyed. Any number of
// threads may read a set that nobody changes.
class VEKAPI_EXPORT VekFields {
 public:
  VekFields();
  VekFields(const VekFields& other);
  VekFields& operator=(const VekFields& other);
  // What was moved from is left empty.
  VekFields(VekFields&& other) noexcept;
  VekFields& operator=(VekFields&& other) noexcept;
  ~VekFields();

  void Clear();

  // Replaces the columns by those of `text`: properties texts (see VekProperties) with 0x01 between them, up
  // to the text's end or its first NUL. A column whose name has been there before is left out. An empty text
  // makes one column with an empty name.
  void SetFields(const std::string& text);

  int Count() const;

  // Null when there is no such column.
  const VekField* Field(int index) const;
  const VekField* Field(const std::string& name) const;

 private:
  class VEKAPI_HIDDEN TImpl;

  TImpl* impl_ = nullptr;  // null: no column
};

}  // namespace VekApi

#endif  // VEKAPI_VEKFIELDS_H
