#include "session/LinkReason.h"

#include "session/Texts.h"
#include "vekapi/VekSessionC.h"

namespace VekApi {
namespace {

// Messengers that report no cause tell the reason by their text.
int ReasonWithoutCause(EVekClientState state, const std::string& text) {
  if (text == kTextNoMemory) return vsr_NoMemory;
  if (state == vcs_LinkBroken) return vsr_LinkBroken;
  return text.find("timed out") != std::string::npos ? vsr_ConnectTimeout : vsr_ConnectFailed;
}

}  // namespace

int ReasonOf(EVekClientState state, Dova::Os::ECause cause, const std::string& text) {
  using Dova::Os::ECause;
  switch (cause) {
    case ECause::Other:
      return ReasonWithoutCause(state, text);
    case ECause::HostNotFound:
      return vsr_HostNotFound;
    case ECause::LookupFailed:
      return vsr_LookupFailed;
    case ECause::LookupTimeout:
      return vsr_LookupTimeout;
    case ECause::Refused:
      return vsr_NobodyListens;
    case ECause::NoRoute:
      return vsr_NoRoute;
    case ECause::TimedOut:
      return state == vcs_LinkError ? vsr_ConnectTimeout : vsr_PeerTimeout;
    case ECause::Reset:
      return vsr_Reset;
    case ECause::ClosedByPeer:
      return vsr_ClosedByPeer;
    case ECause::NoMemory:
      return vsr_NoMemory;
    case ECause::NoThread:
      return vsr_NoThread;
    case ECause::NoDescriptor:
      return vsr_NoDescriptor;
    case ECause::GatewaySilent:
      return vsr_GatewaySilent;
    case ECause::BadRings:
      return vsr_BadRings;
  }
  return 0;
}

int ReasonOf(EVekClientState state, const std::string& text) {
  switch (state) {
    case vcs_HeartbeatTimeout:
      return vsr_Silent;
    case vcs_ConnectError:
      return vsr_ConnectRefused;
    case vcs_SgnError:
      return text == kTextSignOnTooLong ? vsr_SignOnTooLong : vsr_SignOnRefused;
    case vcs_UnknownServer:
      return vsr_UnknownServer;
    default:
      return 0;
  }
}

}  // namespace VekApi
