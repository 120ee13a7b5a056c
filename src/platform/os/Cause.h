#pragma once

namespace Dova::Os {

// Why a link could not be opened or has ended, as far as programs can tell causes apart.
enum class ECause {
  Other,
  HostNotFound,
  LookupFailed,  // no name server answered
  LookupTimeout,
  Refused,  // by the peer's system: nobody listens there
  NoRoute,
  TimedOut,
  Reset,
  ClosedByPeer,
  NoMemory,
  NoThread,
  NoDescriptor,
  GatewaySilent,
  BadRings,
};

// The cause of a system error code (TError::code). Other if the code says nothing about the link.
ECause CauseOf(int code);

}  // namespace Dova::Os
