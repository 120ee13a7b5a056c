// Servers for the benchmarks, and the bytes they exchange.
#pragma once

#include <algorithm>
#include <asio.hpp>
#include <string>
#include <system_error>

#include "support/Wire.h"

namespace loopback {

using asio::ip::tcp;

inline const std::string kKey = "0123456789abcdef";
inline const std::string kRequestText = "W1 Query\nproduct=TXFL6 " + std::string(80, 'q');
inline const std::string kResultText =
    "\x02Orders\n\x03No\x01Product\x01Side\x01Price\x01Qty\n0001\x01TXFL6\x01"
    "B\x01"
    "17500\x01"
    "2\n";

inline std::string Answer() {
  return vektest::Scrambled(vektest::TaskResult("W1", kResultText), kKey);
}

inline void ReadExactly(tcp::socket& socket, std::string& buffer, std::size_t count) {
  buffer.resize(std::max(buffer.size(), count));
  for (std::size_t have = 0; have < count;) {
    have += socket.read_some(asio::buffer(buffer.data() + have, count - have));
  }
}

inline std::string RequestPacket() {
  return std::string(5, '\0') + kRequestText;
}

// The server's side of connect and sign-on, with scrambling.
inline void Greet(tcp::socket& socket) {
  std::string buffer(65536, '\0');
  socket.read_some(asio::buffer(buffer));
  asio::write(socket, asio::buffer(vektest::ConnectResult(false, {{"VekEnc\n", vektest::EncItem(1, kKey)}})));
  socket.read_some(asio::buffer(buffer));
  asio::write(socket, asio::buffer(vektest::Scrambled(vektest::SgnResult(), kKey)));
}

inline tcp::socket Accept(tcp::acceptor& acceptor, bool greet) {
  tcp::socket socket = acceptor.accept();
  socket.set_option(tcp::no_delay(true));
  if (greet) Greet(socket);
  return socket;
}

// Answers each `requestBytes` with `answer` until the peer disconnects.
inline void Echo(tcp::acceptor& acceptor, bool greet, std::size_t requestBytes, const std::string& answer) {
  tcp::socket socket = Accept(acceptor, greet);
  std::string buffer;
  try {
    for (;;) {
      ReadExactly(socket, buffer, requestBytes);
      asio::write(socket, asio::buffer(answer));
    }
  } catch (const std::system_error&) {  // the peer has disconnected
  }
}

// Reads until the peer disconnects.
inline void Sink(tcp::acceptor& acceptor, bool greet) {
  tcp::socket socket = Accept(acceptor, greet);
  std::string buffer(1 << 20, '\0');
  asio::error_code left;
  while (!left) socket.read_some(asio::buffer(buffer), left);
}

}  // namespace loopback
