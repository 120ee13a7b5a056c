// A proxy: listens, connects each client to the server, forwards everything unchanged, and reports the
// traffic.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "vekdump/Links.h"

namespace VekDump {

class Proxy {
 public:
  // Throws std::system_error if it cannot listen. `server` is HOST:PORT, [IPv6]:PORT or PORT of this machine;
  // anything else throws std::invalid_argument. Events are called on the thread of Run.
  Proxy(const std::string& listenAddress, std::uint16_t listenPort, const std::string& server,
        LinkEvents& events);
  ~Proxy();
  Proxy(const Proxy&) = delete;
  Proxy& operator=(const Proxy&) = delete;

  std::uint16_t Port() const;

  // Until interrupted (by Ctrl-C, if requested) or stopped; open links are closed then.
  void Run(bool untilInterrupted);
  // Any thread.
  void Stop();

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace VekDump
