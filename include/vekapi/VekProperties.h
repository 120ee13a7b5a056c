#ifndef VEKAPI_VEKPROPERTIES_H
#define VEKAPI_VEKPROPERTIES_H

#include <functional>
#include <map>
#include <string>
#include <string_view>

#include "vekapi/VekExport.h"

namespace VekApi {

// A name and key/value pairs: the attributes of a table or a column.
//
// Texts are bytes in the code page of the result (950 if the server sent UTF-8). Keys are compared bytewise
// and case-sensitively. An object that is not being changed may be read by any number of threads.
class VEKAPI_EXPORT VekProperties {
 public:
  // Same as SetProperties on an empty object.
  explicit VekProperties(const std::string& text);
  VekProperties(const VekProperties& other);
  VekProperties& operator=(const VekProperties& other);
  // The moved-from object is left empty.
  VekProperties(VekProperties&& other) noexcept;
  VekProperties& operator=(VekProperties&& other) noexcept;
  ~VekProperties();

  // Parses NAME 0x04 KEY=VALUE 0x04 KEY=VALUE..., up to the end of the text or its first NUL. The name is
  // replaced; the pairs are added to the existing ones. A key extends to the next "=", whatever bytes precede
  // it.
  void SetProperties(const std::string& text);

  // Returns false and changes nothing if the key exists: the first value is kept.
  bool Add(const std::string& key, const std::string& value);

  // The value of `key`, or null. The pointer is valid as long as the object; Add does not invalidate it.
  const std::string* Get(const std::string& key) const;

  // The name of the table or column.
  void Name(const std::string& name);
  const std::string& Name() const;

  // The text to show to users: the value of "DisplayText", or the name.
  const std::string& DisplayText() const;

  // The value of "Description", or the display text.
  const std::string& Description() const;

  // The name followed by the pair text. SetProperties cannot parse it, because its pairs are separated by
  // 0x01.
  std::string ToString() const;

  // The pair text: 0x01 KEY "=" VALUE for each pair, in arrival order.
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
