// The name and the fields of a packet.
#pragma once

#include "vekdump/Item.h"

namespace VekDump {

// The bytes of a packet, or of a message with its pieces joined (`length` of them), descrambled; the numbers
// in its body are in `order`.
struct Message {
  std::string_view bytes;
  EVekEndian order;
};

// "task result", by code, sender and, for code 2, the byte after the header.
std::string NameOf(int code, Side from, std::string_view packet);

// Fills in name, fields, text, result and the resulting state. The item's code and sender are set.
void ReadFields(const Message& message, Item& item);

}  // namespace VekDump
