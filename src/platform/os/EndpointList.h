#pragma once

#include <cstring>
#include <vector>

#include "platform/os/Socket.h"

namespace Dova::Os {

// The endpoints of the system's list of addresses (addrinfo).
template <class TAddress>
std::vector<TEndpoint> EndpointsOf(const TAddress* first) {
  std::vector<TEndpoint> endpoints;
  for (const TAddress* each = first; each != nullptr; each = each->ai_next) {
    if (each->ai_addrlen > sizeof TEndpoint::address) continue;
    TEndpoint& endpoint = endpoints.emplace_back();
    std::memcpy(endpoint.address, each->ai_addr, each->ai_addrlen);
    endpoint.length = static_cast<int>(each->ai_addrlen);
    endpoint.family = each->ai_family;
  }
  return endpoints;
}

}  // namespace Dova::Os
