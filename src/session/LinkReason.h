// Why a link ended or is in trouble, as numbers: vsr_... of VekSessionC.h, the finest that is known.
#pragma once

#include <string>

#include "platform/os/Cause.h"
#include "vekapi/VekTypes.h"

namespace VekApi {

// What a connect event's text does not say. `detail` is for people.
struct TWhy {
  int reason = 0;
  std::string detail;
};

// Of a link that a messenger ended, in vcs_LinkError or vcs_LinkBroken.
int ReasonOf(EVekClientState state, Dova::Os::ECause cause, const std::string& text);

// Of a state that comes from the handshake or from silence; 0 for the others.
int ReasonOf(EVekClientState state, const std::string& text);

}  // namespace VekApi
