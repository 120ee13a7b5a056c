#include "runtime/posix/Faults.h"

#include <dlfcn.h>
#include <netdb.h>
#include <sys/socket.h>

#include <cerrno>
#include <thread>

namespace TestSupport {

TFaults& Faults() {
  static TFaults& faults = *new TFaults;
  return faults;
}

namespace {

// Created before any test: the first call may come when there is no memory.
[[maybe_unused]] const TFaults& made = Faults();

template <class TFunction>
TFunction* Real(const char* name) {
  return reinterpret_cast<TFunction*>(dlsym(RTLD_NEXT, name));
}

// A list assembled from single-entry lists, which freeaddrinfo accepts.
int LookUpTest(const addrinfo* hints, addrinfo** result) {
  ++Faults().lookUps;
  while (Faults().lookUpHangs) std::this_thread::yield();
  static auto* const real = Real<decltype(getaddrinfo)>("getaddrinfo");
  for (const auto& [address, port] : Faults().addresses) {
    addrinfo numeric = *hints;
    numeric.ai_flags |= AI_NUMERICHOST;
    if (real(address.c_str(), std::to_string(port).c_str(), &numeric, result) != 0) return EAI_FAIL;
    result = &(*result)->ai_next;
  }
  ++Faults().lookUpsDone;
  return Faults().addresses.empty() ? EAI_NONAME : 0;
}

}  // namespace
}  // namespace TestSupport

extern "C" {

int getaddrinfo(const char* host, const char* service, const addrinfo* hints, addrinfo** result) {
  if (std::string(host).ends_with(".test")) {
    return (hints->ai_flags & AI_NUMERICHOST) != 0 ? EAI_NONAME : TestSupport::LookUpTest(hints, result);
  }
  while (TestSupport::Faults().numbersHang) std::this_thread::yield();
  static auto* const real = TestSupport::Real<decltype(getaddrinfo)>("getaddrinfo");
  return real(host, service, hints, result);
}

}  // extern "C"
