#ifndef VEKAPI_VEKFIELD_H
#define VEKAPI_VEKFIELD_H

#include "vekapi/VekExport.h"
#include "vekapi/VekProperties.h"

namespace VekApi {

// One column of a table.
class VEKAPI_EXPORT VekField {
 public:
  // `index`: position in the table, counted from 0.
  VekField(int index, const VekProperties& properties);
  VekField(const VekField& other);
  VekField& operator=(const VekField& other);
  VekField(VekField&& other) noexcept;
  VekField& operator=(VekField&& other) noexcept;
  ~VekField();

  // Position in the table, counted from 0.
  int Index() const;

  // The column's name and attributes, such as "DisplayText". Renaming does not affect lookups by name in
  // VekFields.
  const VekProperties& Properties() const;
  VekProperties& Properties();

 private:
  int index_;
  VekProperties properties_;
};

}  // namespace VekApi

#endif  // VEKAPI_VEKFIELD_H
