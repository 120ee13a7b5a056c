// The far end of a connection, for tests: a listening socket on the loopback and what it accepted.
#pragma once

#include <asio.hpp>

#include <cstdint>
#include <string>

namespace TestSupport {

class TTcpPeer {
 public:
  explicit TTcpPeer(const char* address = "127.0.0.1")
      : acceptor_(io_, asio::ip::tcp::endpoint(asio::ip::make_address(address), 0)), socket_(io_) {}

  std::uint16_t Port() const { return acceptor_.local_endpoint().port(); }

  void Accept() { acceptor_.accept(socket_); }

  void Write(const std::string& bytes) { asio::write(socket_, asio::buffer(bytes)); }

  // Up to `size` bytes; fewer only when the other side has closed.
  std::string Read(std::size_t size) {
    std::string bytes(size, '\0');
    asio::error_code ended;
    bytes.resize(asio::read(socket_, asio::buffer(bytes), ended));
    return bytes;
  }

  void Close() { socket_.close(); }

  // Closes so that the other side sees a reset.
  void Reset() {
    socket_.set_option(asio::socket_base::linger(true, 0));
    socket_.close();
  }

 private:
  asio::io_context io_;
  asio::ip::tcp::acceptor acceptor_;
  asio::ip::tcp::socket socket_;
};

}  // namespace TestSupport
