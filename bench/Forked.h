// A server in a process of its own, so that the processor time, memory and allocations of this one are the
// client's alone. To be started before the first thread.
#pragma once

#include <signal.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <asio.hpp>
#include <cstdlib>
#include <functional>
#include <string>

#include "Loopback.h"

class Forked {
 public:
  explicit Forked(const std::function<void(loopback::tcp::acceptor&)>& serve) {
    if (fork() != 0) {
      acceptor_.close();
      return;
    }
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    try {
      serve(acceptor_);
    } catch (const std::system_error&) {  // the client has disconnected
    }
    _exit(0);
  }
  const loopback::tcp::endpoint& Endpoint() const { return endpoint_; }
  std::string Setting() const { return "127.0.0.1:" + std::to_string(endpoint_.port()); }

 private:
  asio::io_context io_;
  loopback::tcp::acceptor acceptor_{io_, loopback::tcp::endpoint(asio::ip::address_v4::loopback(), 0)};
  const loopback::tcp::endpoint endpoint_ = acceptor_.local_endpoint();
};
