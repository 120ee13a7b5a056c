#ifndef VEKAPI_VEKLINK_H
#define VEKAPI_VEKLINK_H

#include <cstdint>
#include <string>

#include "vekapi/VekExport.h"
#include "vekapi/VekSessionC.h"

namespace VekApi {

class VekClient;

// Receives the events of VekLink::SetTrace.
class VekTraceHandler {
 public:
  // As CVekOnTrace.
  virtual void OnVekTraceEvent(VekClient& client, const CVekEvent& event) = 0;

 protected:
  ~VekTraceHandler() = default;
};

// Information about a client's link besides its events. Thread-safe.
class VEKAPI_EXPORT VekLink {
 public:
  VekLink() = delete;

  // As CVekClient_LinkReason.
  static std::int32_t Reason(const VekClient& client);

  // As CVekClient_LinkDetail. Throws std::bad_alloc.
  static std::string Detail(const VekClient& client);

  // As CVekClient_SetTrace. `handler` is not owned; null ends the trace. If std::bad_alloc is thrown, nothing
  // has changed.
  static void SetTrace(VekClient& client, VekTraceHandler* handler, std::int32_t level);
};

}  // namespace VekApi

#endif  // VEKAPI_VEKLINK_H
