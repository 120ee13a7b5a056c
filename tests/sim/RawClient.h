#pragma once

#include <asio.hpp>
#include <string>
#include <string_view>

#include "sim/SimServer.h"
#include "sim/SimWire.h"
#include "support/Wire.h"

namespace VekSim {

/// A raw client on a blocking socket, for little-endian servers without a key.
class RawClient {
 public:
  explicit RawClient(const SimServer& server) : RawClient(server.Port()) {}
  explicit RawClient(std::uint16_t port) {
    socket_.connect({asio::ip::make_address("127.0.0.1"), port});
    socket_.set_option(asio::ip::tcp::no_delay(true));
  }

  void Write(std::string_view bytes) { asio::write(socket_, asio::buffer(bytes)); }
  void Request(int code, std::string_view text) {
    for (const auto& packet : TextPackets(code, text, ByteOrder::Little)) Write(packet);
  }

  /// The next packet; empty at the end of the stream.
  std::string Next() {
    for (;;) {
      if (const auto packet = cutter_.Next()) return *packet;
      const std::string bytes = ReadSome();
      if (bytes.empty()) return {};
      cutter_.Feed(bytes);
    }
  }
  /// The text of the next message, pieces joined.
  std::string NextText() {
    std::string text;
    for (;;) {
      const std::string packet = Next();
      text += TextOf(packet, ByteOrder::Little);
      if (packet.empty() || CodeOf(packet) != Code::kPiece) return text;
    }
  }
  std::string ReadSome() {
    char block[4096];
    asio::error_code error;
    const std::size_t count = socket_.read_some(asio::buffer(block), error);
    return {block, error ? 0 : count};
  }
  /// Exactly `count` bytes, bypassing the packet cutter; fewer at the end of the stream.
  std::string Read(std::size_t count) {
    std::string bytes(count, '\0');
    asio::error_code error;
    bytes.resize(asio::read(socket_, asio::buffer(bytes), error));
    return bytes;
  }
  std::string ReadAll() {
    std::string all;
    for (std::string some = ReadSome(); !some.empty(); some = ReadSome()) all += some;
    return all;
  }

  void Connect() { Write(vektest::ConnectRequest()); }
  void SignOn(std::string_view identity, std::string_view password) {
    std::string body{'\0', static_cast<char>(identity.size()), '\0', '\0',
                     static_cast<char>(password.size())};
    Write(Packet(Code::kSession, body.append(4, '\0').append(identity).append(password)));
  }
  /// Performs connect and sign-on, and reads the answers.
  void Enter() {
    Connect();
    Next();
    SignOn("trader/", "secret");
    NextText();
  }

 private:
  asio::io_context io_;
  asio::ip::tcp::socket socket_{io_};
  PacketCutter cutter_;
};

}  // namespace VekSim
