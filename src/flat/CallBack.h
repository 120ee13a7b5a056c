#pragma once

#include "flat/ForcedUnwind.h"

namespace VekApi::Flat {

// Calls an application callback, if set, with a temporary handle: the callback may delete the object through
// it, which sets it to null. Exceptions stop here, because the threads, locks and frames below belong to the
// library and the system.
template <class Handle, class Callback, class... Args>
void CallBack(Callback callback, void* object, void* user, Args... args) {
  if (!callback) return;
  Handle handle{object};
  try {
    callback(&handle, user, args...);
  } catch (...) {
    PassForcedUnwind();
  }
}

}  // namespace VekApi::Flat
