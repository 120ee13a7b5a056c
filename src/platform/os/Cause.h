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

// Of a system's error code (TError::code). Other for codes that say nothing about the link.
ECause CauseOf(int code);

}  // namespace Dova::Os
