#include "vekapi/VekField.h"

namespace VekApi {

VekField::VekField(int index, const VekProperties& properties) : index_(index), properties_(properties) {}
VekField::VekField(const VekField& other) = default;
VekField& VekField::operator=(const VekField& other) = default;
VekField::VekField(VekField&& other) noexcept = default;
VekField& VekField::operator=(VekField&& other) noexcept = default;
VekField::~VekField() = default;

int VekField::Index() const {
  return index_;
}

const VekProperties& VekField::Properties() const {
  return properties_;
}

VekProperties& VekField::Properties() {
  return properties_;
}

}  // namespace VekApi
