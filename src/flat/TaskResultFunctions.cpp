#include "flat/Guard.h"
#include "vekapi/VekApiC.h"

using VekApi::Flat::Ask;

const char* CVekTaskResult_WorkID(const CVekTaskResult* result) {
  return Ask(result, nullptr, [](auto& object) { return object.WorkID().c_str(); });
}

const char* CVekTaskResult_OrigResult(const CVekTaskResult* result) {
  return Ask(result, nullptr, [](auto& object) { return object.OrigResult().c_str(); });
}

CVekBSTR CVekTaskResult_WorkID_B(const CVekTaskResult* result) {
  return CstrToBSTR(CVekTaskResult_WorkID(result));
}

CVekBSTR CVekTaskResult_OrigResult_B(const CVekTaskResult* result) {
  return CstrToBSTR(CVekTaskResult_OrigResult(result));
}

CVekTable CVekTaskResult_NameTable(const CVekTaskResult* result, const char* name) {
  if (!name) return {};
  return Ask(result, {}, [=](auto& object) { return CVekTable{object.Table(std::string(name))}; });
}

CVekTable CVekTaskResult_IndexTable(const CVekTaskResult* result, unsigned index) {
  return Ask(result, {}, [=](auto& object) { return CVekTable{object.Table(index)}; });
}

unsigned CVekTaskResult_TableCount(const CVekTaskResult* result) {
  return Ask(result, 0, [](auto& object) { return object.TableCount(); });
}
