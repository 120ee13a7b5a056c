#ifndef VEKAPI_VEKPROPERTIES_H
#define VEKAPI_VEKPROPERTIES_H

#include <functional>
#include <map>
#include <string>
#include <string_view>

#include "vekapi/VekExport.h"

namespace VekApi {

// A name and key/value pairs: what the server says about a table or a column.
//
// Texts are bytes in the code page of the result (950 where the server sent UTF-8); keys are compared
// bytewise and case-sensitively. Any number of threads may read a record that nobody changes.
class VEKAPI_EXPORT VekProperties {
 public:
  // An empty record that has then been given to SetProperties.
  explicit VekProperties(const std::string& text);
  VekProperties(const VekProperties& other);
  VekProperties& operator=(const VekProperties& other);
  // What was moved from is left empty.
  VekProperties(VekProperties&& other) noexcept;
  VekProperties& operator=(VekProperties&& other) noexcept;
  ~VekProperties();

  // Reads NAME 0x04 KEY=VALUE 0x04 KEY=VALUE..., up to the text's end or its first NUL. The name is replaced;
  // the pairs come on top of those that are there. A key goes on to the next "=", whatever lies between.
  void SetProperties(const std::string& text);

  // False, with nothing changed, when there is a pair of that key: the first value holds.
  bool Add(const std::string& key, const std::string& value);

  // Null when there is no such key. The pointer lives as long as the record and is not moved by Add.
  const std::string* Get(const std::string& key) const;

  void Name(const std::string& name);
  const std::string& Name() const;

  // What to show to users: the value of "DisplayText", else the name.
  const std::string& DisplayText() const;

  // The value of "Description", else the display text.
  const std::string& Description() const;

  // The name followed by the pair text. SetProperties does not read it back: pairs are set off by 0x01 here.
  std::string ToString() const;

  // The pair text: for each pair, in the order of their coming, 0x01 KEY "=" VALUE.
  const std::string& ToDispString() const;

 private:
  friend class VekFields;

  VekProperties();
  void Read(std::string_view text);
  bool AddPair(std::string_view key, std::string_view value);
  const std::string& GetOr(std::string_view key, const std::string& otherwise) const;

  std::string name_;
  std::string pairText_;
  std::map<std::string, std::string, std::less<>> pairs_;
};

}  // namespace VekApi

#endif  // VEKAPI_VEKPROPERTIES_H
