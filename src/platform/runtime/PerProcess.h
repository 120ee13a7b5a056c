#pragma once

#include <atomic>
#include <new>

#include "platform/os/Process.h"

namespace Dova {

// One T per process, created on first use and never destroyed, because threads may use it while the process
// ends. A forked child gets its own, because the parent's locks may be held by threads that do not exist
// there. Only the child's copy is allocated.
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
