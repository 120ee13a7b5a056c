// Property texts of a table and its columns, up to the first 0xFF each, the first of them in two pieces.
#include <cstring>
#include <set>
#include <vector>

#include "fuzz/Input.h"
#include "vekapi/VekApiC.h"
#include "vekapi/VekFields.h"

namespace {

using namespace VekApi;
using vekfuzz::Check;

bool Same(const char* text, const std::string* other) {
  return other ? text != nullptr && std::strcmp(text, other->c_str()) == 0 : text == nullptr;
}

void CheckBstr(CVekBSTR made, const char* text) {
  Check((made == nullptr) == (text == nullptr), "a text as automation string");
  if (!made) return;
  std::uint32_t length = 0;
  std::memcpy(&length, made - sizeof length, sizeof length);
  Check(length == std::strlen(text) && std::memcmp(made, text, length + 1) == 0, "its bytes");
  CVekApi_FreeBSTR(made);
}

// The pairs of a text read the plain way: what follows 0x04 up to "=", the rest up to the next 0x04.
std::vector<std::pair<std::string, std::string>> PairsOf(const std::string& text) {
  std::vector<std::pair<std::string, std::string>> pairs;
  std::set<std::string> keys;
  for (std::size_t at = text.find('\x04'); at != text.npos;) {
    const std::size_t equals = text.find('=', ++at);
    if (equals == text.npos) break;
    const std::size_t end = text.find('\x04', equals);
    const std::string key = text.substr(at, equals - at);
    if (keys.insert(key).second) pairs.emplace_back(key, text.substr(equals + 1, end - equals - 1));
    at = end;
  }
  return pairs;
}

void CheckFlat(const VekProperties& properties) {
  const CVekProperties flat{&properties};
  Check(Same(CVekProperties_Name(&flat), &properties.Name()), "a name");
  Check(Same(CVekProperties_DisplayText(&flat), &properties.DisplayText()), "a display text");
  Check(Same(CVekProperties_Description(&flat), &properties.Description()), "a description");
  Check(Same(CVekProperties_ToString(&flat), &properties.ToDispString()), "the pair text");
  CheckBstr(CVekProperties_Name_B(&flat), CVekProperties_Name(&flat));
  CheckBstr(CVekProperties_ToString_B(&flat), CVekProperties_ToString(&flat));
}

void CheckPairs(const std::string& text) {
  const VekProperties properties(text);
  const std::string read = text.c_str();
  std::string all;
  for (const auto& [key, value] : PairsOf(read)) {
    const std::string* const found = properties.Get(key);
    Check(found && *found == value, "the first value of a key");
    const CVekProperties flat{&properties};
    Check(Same(CVekProperties_Get(&flat, key.c_str()), found), "a value through the flat function");
    all += "\x01" + key + "=" + value;
  }
  Check(properties.ToDispString() == all, "the pairs in their order");
  Check(properties.Name() == read.substr(0, read.find('\x04')), "the name");
  Check(VekProperties(properties).ToString() == properties.Name() + all, "a copy");
  CheckFlat(properties);
}

void CheckFields(const std::string& text) {
  VekFields fields;
  fields.SetFields(text);
  const CVekFields flat{&fields};
  std::string names;
  for (int i = 0; i < fields.Count(); ++i) {
    const VekField* const field = fields.Field(i);
    const std::string& name = field->Properties().Name();
    Check(field->Index() == i && fields.Field(name) == field, "a column by its name");
    Check(CVekFields_IndexField(&flat, i).object == field, "a column by its index");
    Check(CVekFields_NameField(&flat, name.c_str()).object == field, "a column by its flat name");
    names += name + '\0';
    CheckFlat(field->Properties());
  }
  std::int32_t length = 0;
  const char* const flatNames = CVekFields_Names(&flat, &length);
  Check(fields.Names() == names && names == std::string(flatNames, static_cast<std::size_t>(length)),
        "names");
  Check(!fields.Field(fields.Count()) && !fields.Field(-1), "a column that is not there");
  fields.SetFields(text);
  Check(fields.Names() == names, "set twice");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  vekfuzz::Input input(data, size);
  VekProperties twice(input.Text());
  const std::string before = twice.ToDispString(), more = input.Text();
  twice.SetProperties(more);
  Check(twice.ToDispString().starts_with(before), "a later text changes nothing that was there");
  CheckFlat(twice);
  CheckPairs(more);
  CheckFields(input.Rest());
  return 0;
}
