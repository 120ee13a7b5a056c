// One item of the output: a packet, or an event of a link.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "vekapi/VekTaskResult.h"
#include "vekdump/Links.h"

namespace VekDump {

enum class Kind { Packet, LinkUp, LinkEnd, State, Note };

struct Field {
  std::string name;
  std::string text;  // UTF-8
  bool isNumber = false;
};

struct Item {
  Kind kind = Kind::Packet;
  Moment at{};
  std::uint32_t link = 0;
  std::string text{};  // UTF-8: the text in a packet; of other kinds, addresses, reason or note
  std::optional<std::int32_t> state{};  // of the session from here on

  // Packets
  Side from = Side::Client;
  int code = 0;
  std::string name{};  // of a packet in this direction, such as "task result"
  bool decoded = true;
  VekApi::ERecordOrder order = VekApi::ERecordOrder::Unknown;
  std::size_t wireBytes = 0;     // of the packet, with passwords as long as they are shown
  std::size_t messageBytes = 0;  // text of a message, total of all pieces
  unsigned pieces = 0;           // of a message sent in several
  std::vector<Field> fields{};   // in display order
  std::optional<VekApi::VekTaskResult> result{};
  std::string packet{};  // descrambled, passwords masked
};

// Null when the item has no such field.
inline const std::string* FieldOf(const Item& item, std::string_view name) {
  for (const Field& field : item.fields) {
    if (field.name == name) return &field.text;
  }
  return nullptr;
}

class Output {
 public:
  virtual ~Output() = default;
  virtual void Show(const Item& item) = 0;
  // The end of the input.
  virtual void End() {}
};

}  // namespace VekDump
