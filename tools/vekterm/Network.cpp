#include "vekterm/Network.h"

#include <algorithm>
#include <asio.hpp>

#include "protocol/ConnectRequest.h"

namespace VekTerm {
namespace {

using asio::ip::tcp;

// Connects, then does `more` with the connection; all of it within the limit.
template <class More>
Attempt Try(const std::string& address, unsigned short port, std::chrono::milliseconds limit, More more) {
  asio::io_context io;
  tcp::socket socket(io);
  Attempt attempt{false, true, false, {}};
  socket.async_connect({asio::ip::make_address(address), port}, [&](const asio::error_code& error) {
    attempt.timedOut = error == asio::error::timed_out;
    attempt.refused = error == asio::error::connection_refused;
    attempt.made = !error;
    if (error) attempt.error = error.message();
    if (!error) more(socket);
  });
  io.run_for(limit);
  return attempt;
}

}  // namespace

Lookup LookUp(const std::string& host) {
  asio::io_context io;
  tcp::resolver resolver(io);
  asio::error_code error;
  Lookup lookup;
  for (const auto& found : resolver.resolve(host, "", error)) {
    const std::string address = found.endpoint().address().to_string();
    if (std::find(lookup.addresses.begin(), lookup.addresses.end(), address) == lookup.addresses.end())
      lookup.addresses.push_back(address);
  }
  if (error) lookup.error = error.message();
  return lookup;
}

Attempt Connect(const std::string& address, unsigned short port, std::chrono::milliseconds limit) {
  return Try(address, port, limit, [](tcp::socket&) {});
}

std::string FirstBytes(const std::string& address, unsigned short port, std::chrono::milliseconds limit) {
  std::string request, bytes(64, '\0');
  VekApi::MakeConnectRequest(request, "vekterm", "1.0.0.0");
  std::size_t count = 0;
  Try(address, port, limit, [&](tcp::socket& socket) {
    asio::error_code ignored;
    asio::write(socket, asio::buffer(request), ignored);
    socket.async_read_some(asio::buffer(bytes),
                           [&](const asio::error_code&, std::size_t read) { count = read; });
  });
  bytes.resize(count);
  return bytes;
}

}  // namespace VekTerm
