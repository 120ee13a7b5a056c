#pragma once

#include <functional>

#include "vekapi/VekClient.h"
#include "vekapi/VekSessionC.h"

namespace VekApi {

using TTellTrace = std::function<void(VekClient& client, const CVekEvent& event)>;

// Implements CVekClient_SetTrace. `tell` must not throw; it is kept until its last call has returned. Throws
// std::bad_alloc.
void SetClientTrace(VekClient& client, TTellTrace tell, int level);

}  // namespace VekApi
