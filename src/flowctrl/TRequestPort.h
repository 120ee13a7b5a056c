#pragma once

#include "platform/runtime/Ref.h"

namespace VekApi {

// The interface through which a sender sends. Reference-counted, so it may outlive its client.
class TRequestPort : public Dstl::ref_counter<unsigned> {
 public:
  // Sends a request, stored after five reserved bytes, in one packet or in pieces. All or nothing; false also
  // if the client is gone. Thread-safe.
  virtual bool SendRequest(int msgCode, char* buffer, unsigned length) = 0;
};

}  // namespace VekApi
