#pragma once

#include <atomic>
#include <new>

#include "platform/os/Process.h"

namespace Dova {

// One T a process, made on first use and never destroyed: threads may still use it while the process ends. A
// forked child gets one of its own, as threads that it does not have may hold the locks of its parent's; only
// that one takes memory.
template <class T>
T& PerProcess() {
  struct TMade {
    const unsigned generation = Os::ProcessGeneration();
    T object;
  };
  alignas(TMade) static unsigned char memory[sizeof(TMade)];
  static std::atomic<TMade*> current{::new (memory) TMade};
  TMade* made = current.load(std::memory_order_acquire);
  if (made->generation == Os::ProcessGeneration()) return made->object;
  auto* fresh = new TMade;
  if (current.compare_exchange_strong(made, fresh, std::memory_order_acq_rel)) return fresh->object;
  delete fresh;
  return made->object;
}

}  // namespace Dova
