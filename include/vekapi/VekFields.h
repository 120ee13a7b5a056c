#ifndef VEKAPI_VEKFIELDS_H
#define VEKAPI_VEKFIELDS_H

#include <string>
#include <string_view>

#include "vekapi/VekExport.h"
#include "vekapi/VekField.h"

namespace VekApi {

// The columns of a table, in order, with unique names.
//
// Pointers to columns are valid until the set is cleared, set again, assigned to or destroyed. A set that is
// not being changed may be read by any number of threads.
class VEKAPI_EXPORT VekFields {
 public:
  // No columns.
  VekFields();
  VekFields(const VekFields& other);
  VekFields& operator=(const VekFields& other);
  // The moved-from set is left empty.
  VekFields(VekFields&& other) noexcept;
  VekFields& operator=(VekFields&& other) noexcept;
  ~VekFields();

  // Removes all columns.
  void Clear();

  // Replaces the columns by those of `text`: property texts (see VekProperties) separated by 0x01, up to the
  // end of the text or its first NUL. A column whose name already exists is skipped. An empty text makes one
  // column with an empty name.
  void SetFields(const std::string& text);

  // Number of columns.
  int Count() const;

  // A column by index, counted from 0, or by name; null if there is no such column.
  const VekField* Field(int index) const;
  const VekField* Field(const std::string& name) const;

  // The names of all columns in order, each ended by NUL.
  std::string_view Names() const;

 private:
  class VEKAPI_HIDDEN TImpl;

  TImpl* impl_ = nullptr;  // null: no columns
};

}  // namespace VekApi

#endif  // VEKAPI_VEKFIELDS_H
