#ifndef VEKAPI_VEKTRACE_H
#define VEKAPI_VEKTRACE_H

#include <cstdint>

#include "vekapi/VekExport.h"
#include "vekapi/VekSessionC.h"

namespace VekApi {

class VekClient;

// Receives what SetTrace shows.
class VekTraceHandler {
 public:
  // As a callback of CVekClient_SetTrace.
  virtual void OnVekTraceEvent(VekClient& client, const CVekEvent& event) = 0;

 protected:
  ~VekTraceHandler() = default;
};

// As CVekClient_SetTrace. `handler` is not owned; null ends the trace. Throws std::bad_alloc; then everything
// is as before.
VEKAPI_EXPORT void SetTrace(VekClient& client, VekTraceHandler* handler, std::int32_t level);

}  // namespace VekApi

#endif  // VEKAPI_VEKTRACE_H
