#pragma once

#include "flat/ForcedUnwind.h"

namespace VekApi::Flat {

// Calls a caller's function, if there is one, with a handle of its own: the function may delete the object
// through it, which sets it to null. What the function throws ends here: the threads, locks and frames
// beneath belong to the library and the system.
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
