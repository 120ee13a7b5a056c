#pragma once

#include <asio.hpp>
#include <cstdint>
#include <list>

namespace TestSupport {

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
