// Listening on an address, as every acceptor of the simulator does.
#pragma once

#include <asio.hpp>
#include <cstdint>
#include <string>
#include <system_error>

namespace VekSim {

/// Throws std::system_error that names the address, since a server may have several.
inline void ListenOn(asio::ip::tcp::acceptor& acceptor, const std::string& host, std::uint16_t port) try {
  const asio::ip::tcp::endpoint at(asio::ip::make_address(host), port);
  acceptor.open(at.protocol());
  if (VEKSIM_REUSE_ADDRESS) acceptor.set_option(asio::ip::tcp::acceptor::reuse_address(true));
  acceptor.bind(at);
  acceptor.listen();
} catch (const std::system_error& error) {
  throw std::system_error(error.code(), "cannot listen on " + host + ":" + std::to_string(port));
}

}  // namespace VekSim
