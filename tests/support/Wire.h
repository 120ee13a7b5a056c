// Packets built and read as by a server, byte by byte and independently of the library.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace vektest {

struct Packet {
  int code = 0;
  std::string bytes;  // header included
};

inline std::string U16(unsigned value, bool big) {
  const char low = static_cast<char>(value & 0xFF);
  const char high = static_cast<char>(value >> 8);
  return big ? std::string{high, low} : std::string{low, high};
}

inline std::string U32(std::uint32_t value, bool big) {
  return big ? U16(value >> 16, true) + U16(value & 0xFFFF, true)
             : U16(value & 0xFFFF, false) + U16(value >> 16, false);
}

inline std::string Pack(int code, const std::string& body) {
  const unsigned length = static_cast<unsigned>(body.size()) + 3;
  std::string packet;
  packet += static_cast<char>(length & 0xFF);
  packet += static_cast<char>(((code >> 8) << 4) | ((length >> 8) & 0x0F));
  packet += static_cast<char>(code & 0xFF);
  return packet + body;
}

// A message with the length prefix of codes 3 and 128 to 131.
inline std::string Message(int code, const std::string& text, bool big = false) {
  return Pack(code, U16(static_cast<unsigned>(text.size()), big) + text);
}

inline std::string Scrambled(std::string packets, const std::string& key) {
  std::size_t at = 0;
  while (!key.empty() && at + 3 <= packets.size()) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(packets[i]); };
    const std::size_t length = (byte(at + 1) & 0x0Fu) * 256u + byte(at);
    for (std::size_t i = 3; i < length; ++i) {
      packets[at + i] = static_cast<char>(packets[at + i] ^ key[(i - 3) % key.size()]);
    }
    at += length;
  }
  return packets;
}

inline std::vector<Packet> Split(const std::string& stream) {
  std::vector<Packet> packets;
  for (std::size_t at = 0; at + 3 <= stream.size();) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(stream[at + i]); };
    const std::size_t length = (byte(1) & 0x0Fu) * 256u + byte(0);
    packets.push_back({static_cast<int>((byte(1) & 0xF0u) * 16u + byte(2)), stream.substr(at, length)});
    if (length < 3) break;
    at += length;
  }
  return packets;
}

struct Item {
  std::string tag;
  std::string data;
};

inline std::string EncItem(int mode, const std::string& key) {
  return std::string{static_cast<char>(mode), static_cast<char>(key.size())} + key;
}

// Of an application "ap", version 1.2.3.4.
inline std::string ConnectRequest() {
  return {"\x26\0\0\0\x78\x56\x34\x12\1\0\2\0\3\0\4\0\2\0\x10\0apVekSocketClient\n", 38};
}

inline std::string ConnectResult(bool big, const std::vector<Item>& items, char outcome = 0,
                                 const std::string& name = "GW") {
  std::string area;
  for (const Item& item : items) {
    area += static_cast<char>(item.tag.size());
    area += U16(static_cast<unsigned>(item.data.size()), big) + item.tag + item.data;
  }
  std::string body(1, outcome);
  body += big ? std::string("\x12\x34\x56\x78") : std::string("\x78\x56\x34\x12");
  for (const unsigned number : {2u, 0u, 1u, 15u}) body += U16(number, big);
  body += static_cast<char>(name.size());
  body += '\0';
  body += U16(static_cast<unsigned>(area.size()), big) + name + area;
  return Pack(0, body);
}

inline std::string SgnReply(std::uint32_t number, const std::string& message, bool big = false) {
  const std::string lead = "lead";
  std::string body{'\x02', static_cast<char>(lead.size())};
  body += U16(static_cast<unsigned>(message.size()), big) + U32(number, big) + lead + message;
  return Pack(2, body);
}

inline std::string ChgPassResult(const std::string& user, const std::string& message) {
  return Pack(2, std::string{'\x01', static_cast<char>(user.size()), static_cast<char>(message.size())} +
                     user + message);
}

// The text of a task result: work id and result text with their lengths.
inline std::string TaskText(const std::string& workId, const std::string& text, bool big = false) {
  return std::string(1, static_cast<char>(workId.size())) + workId +
         U16(static_cast<unsigned>(text.size()), big) + text;
}

inline std::string TaskResult(const std::string& workId, const std::string& text, bool big = false) {
  return Message(128, TaskText(workId, text, big), big);
}

inline std::string SgnResult(const std::string& rates =
                                 "5\x01"
                                 "1000",
                             bool big = false) {
  return TaskResult("Sgn.Result", "\x02head\n\x03QueryRate\x01QueryRateMS\n" + rates + "\n", big);
}

}  // namespace vektest
