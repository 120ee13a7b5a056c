// What can be learnt of a client's link beside its events.
#ifndef VEKAPI_VEKLINK_H
#define VEKAPI_VEKLINK_H

#include <cstdint>
#include <string>

#include "vekapi/VekExport.h"
#include "vekapi/VekSessionC.h"

namespace VekApi {

class VekClient;

// As CVekClient_LinkReason and CVekClient_LinkDetail. Thread-safe. LinkDetail throws std::bad_alloc.
VEKAPI_EXPORT std::int32_t LinkReason(const VekClient& client);
VEKAPI_EXPORT std::string LinkDetail(const VekClient& client);

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

#endif  // VEKAPI_VEKLINK_H
