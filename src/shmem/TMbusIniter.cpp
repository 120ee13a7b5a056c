#include "shmem/TMbusIniter.h"

#include <new>

#include "platform/os/Socket.h"

namespace Dova {

// The services are started on first use and stay started: doing it here keeps the cost off the first Connect.
// If memory is lacking, it is done there.
TMbusIniter::TMbusIniter() noexcept {
  try {
    Os::ResolveNumeric("127.0.0.1", 1);
  } catch (const std::bad_alloc&) {
  }
}

}  // namespace Dova
