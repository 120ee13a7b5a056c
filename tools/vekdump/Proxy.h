// A line in the middle: listens, connects each client on to the server, passes everything on as it is, and
// tells what passes.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "vekdump/Links.h"

namespace VekDump {

class Proxy {
 public:
  // Throws std::system_error when it cannot listen. `server` is HOST:PORT, [IPv6]:PORT or PORT of this
  // machine; anything else throws std::invalid_argument. Events come on the thread that runs it.
  Proxy(const std::string& listenAddress, std::uint16_t listenPort, const std::string& server,
        LinkEvents& events);
  ~Proxy();
  Proxy(const Proxy&) = delete;
  Proxy& operator=(const Proxy&) = delete;

  std::uint16_t Port() const;

  // Until it is interrupted (by Ctrl-C, if asked for) or stopped; then the links that are there are ended.
  void Run(bool untilInterrupted);
  // Any thread.
  void Stop();

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace VekDump
