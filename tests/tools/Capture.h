// Writes captures of a connection as seen by a network card.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "vekdump/Links.h"

namespace VekDump {

enum class LinkLayer : std::uint32_t {
  Null = 0,
  Ethernet = 1,
  Raw = 101,
  Cooked = 113,
  Cooked2 = 276,
  Vlan = 0x10001,  // Ethernet with a tag
};

inline std::string Bytes(std::uint64_t number, int count, bool lowFirst = false) {
  std::string bytes;
  for (int i = 0; i < count; ++i)
    bytes += static_cast<char>(number >> 8 * (lowFirst ? i : count - 1 - i) & 0xFF);
  return bytes;
}

enum Flags : unsigned { kFin = 1, kSyn = 2, kReset = 4, kAck = 16 };

class Capture {
 public:
  explicit Capture(LinkLayer layer = LinkLayer::Ethernet, bool v6 = false, bool next = false)
      : layer_(layer), v6_(v6), next_(next) {
    const auto type = static_cast<std::uint32_t>(layer) & 0xFFFF;
    if (next) {
      Block(0x0A0D0D0A, Bytes(0x1A2B3C4D, 4, true) + Bytes(1, 4, true) + Bytes(~0ULL, 8));
      const std::string nanoseconds = Bytes(9, 2, true) + Bytes(1, 2, true) + Bytes(9, 4, true) + Bytes(0, 4);
      Block(1, Bytes(type, 4, true) + Bytes(0, 4) + nanoseconds);
    } else {
      bytes = Bytes(0xA1B2C3D4, 4) + Bytes(0x00020004, 4) + Bytes(0, 8) + Bytes(65535, 4) + Bytes(type, 4);
    }
  }

  // `port` is the client's; `cut` bytes of the payload were not captured.
  void Segment(Side from, unsigned port, std::uint32_t sequence, std::uint32_t acknowledged, unsigned flags,
               std::string_view payload, std::size_t cut = 0) {
    const bool client = from == Side::Client;
    const std::string ports = Bytes(client ? port : 9000, 2) + Bytes(client ? 9000 : port, 2);
    const std::string tcp = ports + Bytes(sequence, 4) + Bytes(acknowledged, 4) + Bytes(0x50, 1) +
                            Bytes(flags, 1) + Bytes(0xFFFF, 2) + Bytes(0, 4);
    std::string frame = Layer() + Ip(client, tcp.size() + payload.size()) + tcp + std::string(payload);
    frame.resize(frame.size() - cut);
    Frame(frame);
  }

  void Frame(const std::string& frame) {
    ns_ += 1'000'000;
    if (next_) {
      const std::string head = Bytes(0, 4) + Bytes(ns_ >> 32, 4, true) + Bytes(ns_, 4, true);
      const std::string lengths = Bytes(frame.size(), 4, true) + Bytes(frame.size(), 4, true);
      Block(6, head + lengths + frame + std::string((4 - frame.size() % 4) % 4, '\0'));
    } else {
      bytes += Bytes(ns_ / 1'000'000'000, 4) + Bytes(ns_ % 1'000'000'000 / 1000, 4);
      bytes += Bytes(frame.size(), 4) + Bytes(frame.size(), 4) + frame;
    }
  }

  std::string bytes;

 private:
  void Block(std::uint32_t type, const std::string& body) {
    const std::string length = Bytes(body.size() + 12, 4, true);
    bytes += Bytes(type, 4, true) + length + body + length;
  }

  std::string Layer() const {
    const std::string type = Bytes(v6_ ? 0x86DD : 0x0800, 2);
    switch (layer_) {
      case LinkLayer::Null:
        return Bytes(2, 4, true);
      case LinkLayer::Ethernet:
        return std::string(12, '\x02') + type;
      case LinkLayer::Vlan:
        return std::string(12, '\x02') + Bytes(0x81000005, 4) + type;
      case LinkLayer::Cooked:
        return std::string(14, '\0') + type;
      case LinkLayer::Cooked2:
        return type + std::string(18, '\0');
      case LinkLayer::Raw:
        break;
    }
    return {};
  }

  std::string Ip(bool client, std::size_t length) const {
    const std::string one(v6_ ? 16 : 4, '\x0A'), other(v6_ ? 16 : 4, '\x0B');
    const std::string addresses = client ? one + other : other + one;
    if (v6_) {  // with an extension header
      return Bytes(0x60000000, 4) + Bytes(length + 8, 2) + Bytes(0x0040, 2) + addresses +
             Bytes(0x0600010400000000, 8);
    }
    return Bytes(0x4500, 2) + Bytes(length + 20, 2) + Bytes(0, 4) + Bytes(0x4006, 2) + Bytes(0, 2) +
           addresses;
  }

  LinkLayer layer_;
  bool v6_;
  bool next_;
  std::uint64_t ns_ = 1'700'000'000'000'000'000;
};

}  // namespace VekDump
