#include "flat/Guard.h"
#include "vekapi/VekApiC.h"

using VekApi::Flat::Ask;

const char* CVekProperties_Get(const CVekProperties* properties, const char* key) {
  if (!key) return nullptr;
  return Ask(properties, nullptr, [=](auto& object) {
    const std::string* const value = object.Get(key);
    return value ? value->c_str() : nullptr;
  });
}

const char* CVekProperties_Name(const CVekProperties* properties) {
  return Ask(properties, nullptr, [](auto& object) { return object.Name().c_str(); });
}

const char* CVekProperties_DisplayText(const CVekProperties* properties) {
  return Ask(properties, nullptr, [](auto& object) { return object.DisplayText().c_str(); });
}

const char* CVekProperties_Description(const CVekProperties* properties) {
  return Ask(properties, nullptr, [](auto& object) { return object.Description().c_str(); });
}

// Not the class's ToString, which returns a new text: a borrowed text must live in the object.
const char* CVekProperties_ToString(const CVekProperties* properties) {
  return Ask(properties, nullptr, [](auto& object) { return object.ToDispString().c_str(); });
}

CVekBSTR CVekProperties_Get_B(const CVekProperties* properties, const char* key) {
  return CstrToBSTR(CVekProperties_Get(properties, key));
}

CVekBSTR CVekProperties_Name_B(const CVekProperties* properties) {
  return CstrToBSTR(CVekProperties_Name(properties));
}

CVekBSTR CVekProperties_DisplayText_B(const CVekProperties* properties) {
  return CstrToBSTR(CVekProperties_DisplayText(properties));
}

CVekBSTR CVekProperties_Description_B(const CVekProperties* properties) {
  return CstrToBSTR(CVekProperties_Description(properties));
}

CVekBSTR CVekProperties_ToString_B(const CVekProperties* properties) {
  return CstrToBSTR(CVekProperties_ToString(properties));
}
