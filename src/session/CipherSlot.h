#pragma once

#include <mutex>
#include <utility>

#include "platform/os/Mutex.h"
#include "protocol/Cipher.h"

namespace VekApi {

// Holds the cipher used by senders: changed inside the session's context, read by any thread.
struct TCipherSlot {
  Dova::Os::TMutex mutex;
  TCipher cipher;

  TCipher Get() {
    const std::lock_guard lock(mutex);
    return cipher;
  }
  void Set(TCipher next) {
    const std::lock_guard lock(mutex);
    std::swap(cipher, next);
  }
};

}  // namespace VekApi
