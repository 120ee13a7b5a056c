// The remote ends of connections, for tests.
#pragma once

#include <asio.hpp>

#include <chrono>
#include <cstdint>
#include <list>
#include <string>

namespace TestSupport {

// A listening socket on the loopback interface and the socket it accepted.
class TTcpPeer {
 public:
  explicit TTcpPeer(const char* address = "127.0.0.1")
      : acceptor_(io_, asio::ip::tcp::endpoint(asio::ip::make_address(address), 0)), socket_(io_) {}

  std::uint16_t Port() const { return acceptor_.local_endpoint().port(); }

  void Accept() { socket_ = acceptor_.accept(); }

  void Write(const std::string& bytes) { asio::write(socket_, asio::buffer(bytes)); }

  // Up to `size` bytes; fewer only if the other side has closed.
  std::string Read(std::size_t size) {
    std::string bytes(size, '\0');
    asio::error_code ended;
    bytes.resize(asio::read(socket_, asio::buffer(bytes), ended));
    return bytes;
  }

  // Until there is something to read.
  void AwaitBytes() { socket_.wait(asio::socket_base::wait_read); }

  // True if the other side closes soon, without sending more.
  bool SeesEnd() {
    char byte = 0;
    asio::error_code ended;
    asio::async_read(socket_, asio::buffer(&byte, 1),
                     [&](asio::error_code error, std::size_t) { ended = error; });
    io_.restart();
    io_.run_for(std::chrono::seconds(10));
    return ended == asio::error::eof;
  }

  // Writes until the other side refuses; false if it does not for a long time.
  bool IsCutOff() {
    const std::string bytes(65536, 'x');
    asio::error_code error;
    const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!error && std::chrono::steady_clock::now() < until)
      asio::write(socket_, asio::buffer(bytes), error);
    return static_cast<bool>(error);
  }

  void SmallReceiveBuffer() { acceptor_.set_option(asio::socket_base::receive_buffer_size(4096)); }

  void CloseSending() { socket_.shutdown(asio::socket_base::shutdown_send); }

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

// A listener that accepts nothing: once its queue is full the system answers no further connect, so
// connecting neither succeeds nor fails.
class TFullListener {
 public:
  TFullListener() : acceptor_(io_) {
    acceptor_.open(asio::ip::tcp::v4());
    acceptor_.bind({asio::ip::make_address("127.0.0.1"), 0});
    acceptor_.listen(0);
    for (int i = 0; i < 3; ++i) {
      auto& filler = fillers_.emplace_back(io_, asio::ip::tcp::v4());
      filler.async_connect(acceptor_.local_endpoint(), [](asio::error_code) {});
    }
  }
  std::uint16_t Port() const { return acceptor_.local_endpoint().port(); }

 private:
  asio::io_context io_;
  asio::ip::tcp::acceptor acceptor_;
  std::list<asio::ip::tcp::socket> fillers_;
};

}  // namespace TestSupport
