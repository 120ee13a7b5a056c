// The packets of one connection: learns scrambling and byte order from the handshake, descrambles, joins long
// messages.
#pragma once

#include <optional>
#include <string>

#include "protocol/Cipher.h"
#include "vekdump/Item.h"
#include "vekdump/PacketCutter.h"

namespace VekDump {

class LinkDecoder {
 public:
  // The output outlives this object.
  LinkDecoder(std::uint32_t link, Output& output) : link_(link), output_(output) {}

  void OnBytes(Moment at, Side from, std::string_view bytes, bool fromStart);
  void OnMissing(Moment at, Side from, std::uint64_t count);
  void OnPacket(Moment at, Side from, VekApi::ERecordOrder order, std::string packet);
  // Reports the remains of incomplete packets.
  void OnEnd(Moment at);

 private:
  struct Direction {
    PacketCutter cutter;
    bool started = false;
    bool sure = true;    // packet boundaries are known
    bool left = false;   // not packets: reported, then ignored
    std::string joined;  // five lead bytes and the pieces so far, or empty
    unsigned pieces = 0;
    bool tooLong = false;
  };

  Direction& Of(Side from) { return directions_[from == Side::Client ? 0 : 1]; }
  void Cut(Moment at, Side from);
  void Leave(Moment at, Side from, std::string_view why);
  void Descramble(Side from, std::string& packet);
  std::optional<EVekEndian> OrderOf(Side from, std::string_view packet);
  void Decode(Item& item, std::string packet, std::optional<EVekEndian> order);
  std::string Join(Item& item, std::string_view packet, EVekEndian order);
  void Note(Moment at, Side from, const std::string& text);

  const std::uint32_t link_;
  Output& output_;
  Direction directions_[2];
  VekApi::TCipher cipher_;
  bool knowsCipher_ = false;  // the connect result was seen
};

}  // namespace VekDump
