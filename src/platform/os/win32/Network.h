#pragma once

#include <winsock2.h>

namespace Dova::Os {

// Starts the network services on first use. They are never stopped, because there is no safe point to do so.
inline void StartNetwork() noexcept {
  static const int started = [] {
    WSADATA data;
    return WSAStartup(MAKEWORD(2, 2), &data);
  }();
  static_cast<void>(started);
}

}  // namespace Dova::Os
