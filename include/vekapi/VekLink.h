#ifndef VEKAPI_VEKLINK_H
#define VEKAPI_VEKLINK_H

#include <cstdint>
#include <string>

#include "vekapi/VekExport.h"
#include "vekapi/VekSessionC.h"

namespace VekApi {

class VekClient;

// Receives what VekLink::SetTrace shows.
class VekTraceHandler {
 public:
  // As a callback of CVekClient_SetTrace.
  virtual void OnVekTraceEvent(VekClient& client, const CVekEvent& event) = 0;

 protected:
  ~VekTraceHandler() = default;
};

// What can be learnt of a client's link beside its events. Thread-safe.
class VEKAPI_EXPORT VekLink {
 public:
  VekLink() = delete;

  // As CVekClient_LinkReason.
  static std::int32_t Reason(const VekClient& client);

  // As CVekClient_LinkDetail. Throws std::bad_alloc.
  static std::string Detail(const VekClient& client);

  // As CVekClient_SetTrace. `handler` is not owned; null ends the trace. Throws std::bad_alloc; then
  // everything is as before.
  static void SetTrace(VekClient& client, VekTraceHandler* handler, std::int32_t level);
};

}  // namespace VekApi

#endif  // VEKAPI_VEKLINK_H
