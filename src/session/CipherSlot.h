#pragma once

#include <mutex>

#include "platform/os/Mutex.h"
#include "platform/runtime/TRefSlot.h"
#include "protocol/Cipher.h"
#include "session/TWire.h"

namespace VekApi {

// The cipher and the wire used by senders: changed inside the session's context under the mutex, read by any
// thread, the cipher under the mutex.
struct TCipherSlot {
  Dova::Os::TMutex mutex;
  TCipher cipher;
  Dstl::TRefSlot<const TWire> wire;  // null if no link accepts packets

  TCipher Get() {
    const std::lock_guard lock(mutex);
    return cipher;
  }
  // Throws std::bad_alloc, without a change, if there is a wire.
  void Set(TCipher next);
};

}  // namespace VekApi
