#include <netdb.h>
#include <sys/socket.h>

#include <cerrno>

#include "platform/os/EndpointList.h"

namespace Dova::Os {
namespace {

struct TFreeAddresses {
  void operator()(addrinfo* found) const { freeaddrinfo(found); }
};

ECause CauseOfLookup(int result) {
  if (result == EAI_MEMORY) return ECause::NoMemory;
  return result == EAI_AGAIN || result == EAI_FAIL ? ECause::LookupFailed : ECause::HostNotFound;
}

std::vector<TEndpoint> Resolve(const std::string& host, std::uint16_t port, int flags, TError& error) {
  addrinfo hints{};
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = flags | AI_NUMERICSERV;
  addrinfo* first = nullptr;
  const int result = getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &first);
  if (result != 0) {
    error = result == EAI_SYSTEM ? TError{nullptr, errno}
                                 : TError{gai_strerror(result), 0, CauseOfLookup(result)};
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
