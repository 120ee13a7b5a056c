#include "platform/os/win32/Network.h"

#include <ws2tcpip.h>

#include "platform/os/EndpointList.h"

namespace Dova::Os {
namespace {

struct TFreeAddresses {
  void operator()(addrinfo* found) const { freeaddrinfo(found); }
};

std::vector<TEndpoint> Resolve(const std::string& host, std::uint16_t port, int flags, TError& error) {
  StartNetwork();
  addrinfo hints{};
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_protocol = IPPROTO_TCP;
  hints.ai_flags = flags;
  addrinfo* first = nullptr;
  const int result = getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &first);
  if (result != 0) {
    error = {nullptr, result};
    return {};
  }
  const std::unique_ptr<addrinfo, TFreeAddresses> found(first);
  return EndpointsOf(found.get());
}

}  // namespace

std::vector<TEndpoint> ResolveNumeric(const std::string& host, std::uint16_t port) {
  TError ignored;
  return Resolve(host, port, AI_NUMERICHOST, ignored);
}

std::vector<TEndpoint> ResolveName(const std::string& host, std::uint16_t port, TError& error) {
  return Resolve(host, port, 0, error);
}

}  // namespace Dova::Os
