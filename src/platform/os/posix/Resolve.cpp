#include <netdb.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>

#include "platform/os/ErrorText.h"
#include "platform/os/Socket.h"

namespace Dova::Os {
namespace {

struct TFreeAddresses {
  void operator()(addrinfo* found) const { freeaddrinfo(found); }
};

std::vector<TEndpoint> Resolve(const std::string& host, std::uint16_t port, int flags, std::string& error) {
  std::vector<TEndpoint> endpoints;
  addrinfo hints{};
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = flags | AI_NUMERICSERV;
  addrinfo* first = nullptr;
  const int result = getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &first);
  if (result != 0) {
    error = result == EAI_SYSTEM ? SysErrorMessage(errno) : gai_strerror(result);
    return endpoints;
  }
  const std::unique_ptr<addrinfo, TFreeAddresses> found(first);
  for (const addrinfo* each = first; each != nullptr; each = each->ai_next) {
    if (each->ai_addrlen > sizeof TEndpoint::address) continue;
    TEndpoint& endpoint = endpoints.emplace_back();
    std::memcpy(endpoint.address, each->ai_addr, each->ai_addrlen);
    endpoint.length = static_cast<int>(each->ai_addrlen);
    endpoint.family = each->ai_family;
  }
  return endpoints;
}

}  // namespace

std::vector<TEndpoint> ResolveNumeric(const std::string& host, std::uint16_t port) {
  std::string ignored;
  return Resolve(host, port, AI_NUMERICHOST, ignored);
}

std::vector<TEndpoint> ResolveName(const std::string& host, std::uint16_t port, std::string& error) {
  return Resolve(host, port, 0, error);
}

}  // namespace Dova::Os
