#include "platform/os/Cause.h"

#include "platform/os/win32/Network.h"

namespace Dova::Os {

ECause CauseOf(int code) {
  switch (code) {
    case WSAHOST_NOT_FOUND:
    case WSANO_DATA:
      return ECause::HostNotFound;
    case WSATRY_AGAIN:
    case WSANO_RECOVERY:
      return ECause::LookupFailed;
    case WSAECONNREFUSED:
      return ECause::Refused;
    case WSAENETUNREACH:
    case WSAEHOSTUNREACH:
    case WSAENETDOWN:
    case WSAEHOSTDOWN:
    case WSAEADDRNOTAVAIL:
      return ECause::NoRoute;
    case WSAETIMEDOUT:
      return ECause::TimedOut;
    case WSAECONNRESET:
    case WSAECONNABORTED:
    case WSAENETRESET:
      return ECause::Reset;
    case WSAENOBUFS:
    case WSA_NOT_ENOUGH_MEMORY:
      return ECause::NoMemory;
    case WSAEMFILE:
    case ERROR_TOO_MANY_OPEN_FILES:
      return ECause::NoDescriptor;
    default:
      return ECause::Other;
  }
}

}  // namespace Dova::Os
