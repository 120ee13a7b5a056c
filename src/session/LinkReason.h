// Why a link ended or is in trouble, as the most specific vsr_... number of VekSessionC.h.
#pragma once

#include <string>

#include "platform/os/Cause.h"
#include "vekapi/VekTypes.h"

namespace VekApi {

// What the text of a connect event leaves out. `detail` is for people.
struct TWhy {
  int reason = 0;
  std::string detail;
};

// For a link ended by its messenger, in vcs_LinkError or vcs_LinkBroken.
int ReasonOf(EVekClientState state, Dova::Os::ECause cause, const std::string& text);

// For a state caused by the handshake or by silence; 0 for other states.
int ReasonOf(EVekClientState state, const std::string& text);

}  // namespace VekApi
