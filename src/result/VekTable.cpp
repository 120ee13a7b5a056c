#include "vekapi/VekTable.h"

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <utility>

#include "result/TableRecords.h"

namespace VekApi {
namespace {

// strtoul with base 0 for a 32-bit unsigned long on every platform. Numbers out of range give the maximum,
// also with a minus sign.
std::uint32_t ToUnsigned32(const char* text) {
  constexpr unsigned long long kLargest = std::numeric_limits<std::uint32_t>::max();
  const char* digits = text;
  while (*digits == ' ' || (*digits >= '\t' && *digits <= '\r')) ++digits;
  const bool negative = *digits == '-';
  errno = 0;
  const unsigned long long number = std::strtoull(text, nullptr, 0);
  const unsigned long long magnitude = negative ? 0 - number : number;
  if (errno == ERANGE || magnitude > kLargest) return static_cast<std::uint32_t>(kLargest);
  return static_cast<std::uint32_t>(number);
}

}  // namespace

VekTable::VekTable(const VekProperties& properties) : properties_(properties) {}

VekTable::VekTable(const VekTable& other)
    : properties_(other.properties_),
      fields_(other.fields_),
      records_(other.records_ ? new TRecords(*other.records_) : nullptr) {}

VekTable& VekTable::operator=(const VekTable& other) {
  if (this != &other) *this = VekTable(other);
  return *this;
}

VekTable::VekTable(VekTable&& other) noexcept
    : properties_(std::move(other.properties_)),
      fields_(std::move(other.fields_)),
      records_(std::exchange(other.records_, nullptr)) {}

VekTable& VekTable::operator=(VekTable&& other) noexcept {
  VekTable taken(std::move(other));
  properties_ = std::move(taken.properties_);
  fields_ = std::move(taken.fields_);
  std::swap(records_, taken.records_);
  return *this;
}

VekTable::~VekTable() {
  delete records_;
}

const VekProperties& VekTable::Properties() const {
  return properties_;
}
VekProperties& VekTable::Properties() {
  return properties_;
}

const VekFields& VekTable::Fields() const {
  return fields_;
}
VekFields& VekTable::Fields() {
  return fields_;
}

int VekTable::RecordsCount() const {
  return records_ ? static_cast<int>(records_->Count()) : 0;
}

VekTable::TRecords& VekTable::Records() {
  if (!records_) records_ = new TRecords;
  return *records_;
}

void VekTable::AddRecord(const std::string& line) {
  Records().Add(line, static_cast<std::uint32_t>(fields_.Count()));
}

const char* VekTable::RecordField(int row, int col) const {
  if (!records_ || row < 0 || col < 0) return nullptr;
  return records_->Value(static_cast<std::size_t>(row), static_cast<std::size_t>(col));
}

const char* VekTable::RecordField(int row, const VekField* field) const {
  return field ? RecordField(row, field->Index()) : nullptr;
}

VekRecordBlock VekTable::RecordBlock(int row) const {
  return records_ && row >= 0 ? records_->Block(static_cast<std::size_t>(row)) : VekRecordBlock{};
}

EVekAccMkt VekTable::MktFlag() const {
  const std::string* const mkt = properties_.Get("mkt");
  const std::uint32_t number = mkt ? ToUnsigned32(mkt->c_str()) : 0;
  return static_cast<EVekAccMkt>(static_cast<std::int32_t>(number));
}

}  // namespace VekApi
