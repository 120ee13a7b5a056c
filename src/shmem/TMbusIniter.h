#pragma once

namespace Dova {

// What the runtime needs in the process while it is in use, for the life of the object: the system's network
// services. Made and destroyed by the core thread.
class TMbusIniter {
 public:
  TMbusIniter() noexcept;
};

}  // namespace Dova
