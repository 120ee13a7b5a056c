#include "vekterm/Network.h"

#include <algorithm>
#include <asio.hpp>

namespace VekTerm {
namespace {

using asio::ip::tcp;

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
  asio::io_context io;
  tcp::socket socket(io);
  Attempt attempt{false, true, false, {}};
  socket.async_connect({asio::ip::make_address(address), port}, [&](const asio::error_code& error) {
    attempt.timedOut = error == asio::error::timed_out;
    attempt.refused = error == asio::error::connection_refused;
    attempt.made = !error;
    if (error) attempt.error = error.message();
  });
  io.run_for(limit);
  return attempt;
}

}  // namespace VekTerm
