#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// The wire format from the server's side: converts between bytes and values. No sockets, and no state except
// in PacketCutter. Packets are complete (header included) and unscrambled unless stated otherwise.
namespace VekSim {

/// Byte order of two- and four-byte numbers in bodies; the packet header does not depend on it.
enum class ByteOrder { Little, Big };

namespace Code {
constexpr int kConnect = 0;
constexpr int kHeartbeat = 1;
constexpr int kSession = 2;
constexpr int kPiece = 3;
constexpr int kTask = 128;
constexpr int kAck = 129;
constexpr int kReport = 130;
constexpr int kAck2 = 131;
}  // namespace Code

constexpr std::size_t kHeadSize = 3;
constexpr std::size_t kPrefixSize = 5;       ///< header and body length before a text
constexpr std::size_t kMaxPacket = 4095;     ///< maximum of the twelve-bit length
constexpr std::size_t kMaxPieceBody = 4090;  ///< longest text that one packet carries

std::string U16(unsigned value, ByteOrder order);
std::string U32(std::uint32_t value, ByteOrder order);
unsigned ReadU16(std::string_view bytes, std::size_t at, ByteOrder order);

/// The three header bytes. The length includes the header; bits above the eleventh of either number are
/// dropped.
std::string Head(int code, std::size_t length);
int CodeOf(std::string_view packet);
std::size_t LengthOf(std::string_view packet);

/// Header and unchanged body. A body too long for the header is cut.
std::string Packet(int code, std::string_view body);
/// Header, body length and text: the form of codes 3 and 128 to 131.
std::string TextPacket(int code, std::string_view text, ByteOrder order);
/// A text of any length: pieces of code 3, `pieceSize` bytes each (1 to 4090), then the rest under its own
/// code.
std::vector<std::string> TextPackets(int code, std::string_view text, ByteOrder order,
                                     std::size_t pieceSize = kMaxPieceBody);
/// The text after a five-byte prefix, cut to the bytes available.
std::string_view TextOf(std::string_view packet, ByteOrder order);

/// XORs the bytes after the header with the repeated key; applying it twice restores the packet. The key
/// restarts in each packet.
void Scramble(std::string& packet, std::string_view key);

struct SimItem {
  std::string tag{};  ///< with its line feed
  std::string data{};
};
/// Item with mode and key. `mode` is sent as one signed byte; a key longer than 255 bytes is cut.
SimItem EncItem(int mode, std::string_view key);
SimItem ErrorItem(std::string reason);

struct ConnectAnswer {
  int outcome = 0;  ///< 1 refuses
  std::string name{};
  std::array<std::uint16_t, 4> version{};
  std::vector<SimItem> items{};
};
std::string ConnectResult(const ConnectAnswer& answer, ByteOrder order);
std::string SignOnReply(std::uint32_t number, std::string_view lead, std::string_view message,
                        ByteOrder order);
std::string PassResult(std::string_view user, std::string_view message);
/// Body of a task result: work id and result text with their lengths; the long form from 65535 bytes on.
std::string TaskBody(std::string_view workId, std::string_view text, ByteOrder order);

struct ConnectRequest {
  std::string name{};
  std::array<std::uint16_t, 4> version{};
  std::string kindLine{};
};
struct SignOnRequest {
  std::string identity{};  ///< two ids joined by "/"
  std::string password{};
};
struct PassRequest {
  std::string user, oldPass, newPass;
};
/// Empty if the packet is shorter than its lengths.
std::optional<ConnectRequest> ReadConnect(std::string_view packet);
std::optional<SignOnRequest> ReadSignOn(std::string_view packet);
std::optional<PassRequest> ReadPass(std::string_view packet);
/// A packet of code 2 from a client with eight stars for each password, or for a body of another form.
std::string Masked(std::string_view packet);

/// Splits a byte stream into packets, still scrambled.
class PacketCutter {
 public:
  void Feed(std::string_view bytes) { tail_.append(bytes); }
  /// The next complete packet, or nothing until more bytes are fed.
  std::optional<std::string> Next();
  /// A length below 3 was received; nothing after it can be parsed.
  bool Broken() const { return broken_; }
  /// The received part of the next packet.
  std::string Rest() const { return tail_.substr(start_); }

 private:
  std::string tail_{};
  std::size_t start_ = 0;
  bool broken_ = false;
};

}  // namespace VekSim
