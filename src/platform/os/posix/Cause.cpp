#include "platform/os/Cause.h"

#include <cerrno>

namespace Dova::Os {

ECause CauseOf(int code) {
  switch (code) {
    case ECONNREFUSED:
      return ECause::Refused;
    case ENETUNREACH:
    case EHOSTUNREACH:
    case ENETDOWN:
    case EHOSTDOWN:
    case EADDRNOTAVAIL:
      return ECause::NoRoute;
    case ETIMEDOUT:
      return ECause::TimedOut;
    case ECONNRESET:
    case ECONNABORTED:
    case EPIPE:
      return ECause::Reset;
    case ENOMEM:
    case ENOBUFS:
      return ECause::NoMemory;
    case EMFILE:
    case ENFILE:
      return ECause::NoDescriptor;
    default:
      return ECause::Other;
  }
}

}  // namespace Dova::Os
