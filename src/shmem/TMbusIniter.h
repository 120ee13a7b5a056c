#pragma once

namespace Dova {

// Process-wide services that the runtime needs, for the lifetime of the object: the system's network
// services. Created and destroyed by the core thread.
class TMbusIniter {
 public:
  TMbusIniter() noexcept;
};

}  // namespace Dova
