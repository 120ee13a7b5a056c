#pragma once

#include <winsock2.h>

namespace Dova::Os {

// Starts the network services on first use. They stay for the process: there is no moment at which giving
// them back would be safe.
inline void StartNetwork() noexcept {
  static const int started = [] {
    WSADATA data;
    return WSAStartup(MAKEWORD(2, 2), &data);
  }();
  static_cast<void>(started);
}

}  // namespace Dova::Os
