// Columns and tables.
#include "flat/Guard.h"
#include "vekapi/VekApiC.h"

using VekApi::VekRecordBlock;
using VekApi::Flat::Ask;
using VekApi::Flat::ObjectOf;

CVekProperties CVekField_Properties(const CVekField* field) {
  return Ask(field, {}, [](auto& object) { return CVekProperties{&object.Properties()}; });
}

int CVekField_Index(const CVekField* field) {
  return Ask(field, -1, [](auto& object) { return object.Index(); });
}

CVekField CVekFields_NameField(const CVekFields* fields, const char* name) {
  if (!name) return {};
  return Ask(fields, {}, [=](auto& object) { return CVekField{object.Field(std::string(name))}; });
}

CVekField CVekFields_IndexField(const CVekFields* fields, int index) {
  return Ask(fields, {}, [=](auto& object) { return CVekField{object.Field(index)}; });
}

const char* CVekFields_Names(const CVekFields* fields, std::int32_t* length) {
  if (!length) return nullptr;
  const std::string_view names = Ask(fields, {}, [](auto& object) { return object.Names(); });
  *length = static_cast<std::int32_t>(names.size());
  return names.data();
}

int CVekFields_Count(const CVekFields* fields) {
  return Ask(fields, 0, [](auto& object) { return object.Count(); });
}

CVekProperties CVekTable_Properties(const CVekTable* table) {
  return Ask(table, {}, [](auto& object) { return CVekProperties{&object.Properties()}; });
}

CVekFields CVekTable_Fields(const CVekTable* table) {
  return Ask(table, {}, [](auto& object) { return CVekFields{&object.Fields()}; });
}

int CVekTable_RecordsCount(const CVekTable* table) {
  return Ask(table, 0, [](auto& object) { return object.RecordsCount(); });
}

const char* CVekTable_RecordIndexField(const CVekTable* table, int row, int col) {
  return Ask(table, nullptr, [=](auto& object) { return object.RecordField(row, col); });
}

const char* CVekTable_RecordField(const CVekTable* table, int row, const CVekField* field) {
  return Ask(table, nullptr, [=](auto& object) { return object.RecordField(row, ObjectOf(field)); });
}

int CVekTable_RecordBlock(const CVekTable* table, int row, CVekRecordBlock* block) {
  if (!block) return 0;
  const VekRecordBlock found = Ask(table, {}, [=](auto& object) { return object.RecordBlock(row); });
  *block = {found.text, found.starts, found.textEnd, found.columns, found.values, found.stride};
  return found.records;
}

CVekBSTR CVekTable_RecordIndexField_B(const CVekTable* table, int row, int col) {
  return CstrToBSTR(CVekTable_RecordIndexField(table, row, col));
}

CVekBSTR CVekTable_RecordField_B(const CVekTable* table, int row, const CVekField* field) {
  return CstrToBSTR(CVekTable_RecordField(table, row, field));
}

int CVekTable_MktFlag(const CVekTable* table) {
  return Ask(table, 0, [](auto& object) { return static_cast<int>(object.MktFlag()); });
}
