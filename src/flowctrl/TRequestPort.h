#pragma once

#include "platform/runtime/Ref.h"

namespace VekApi {

// What a sender sends through. It outlives the client that it leads to: counted, the sender holds a
// reference.
class TRequestPort : public Dstl::ref_counter<unsigned> {
 public:
  // A request behind five free bytes, in one packet or in pieces. All or nothing; false also when the client
  // is gone. Any thread.
  virtual bool SendRequest(int msgCode, char* buffer, unsigned length) = 0;
};

}  // namespace VekApi
