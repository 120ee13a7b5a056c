#include "shmem/TMbusIniter.h"

#include <new>

#include "platform/os/Socket.h"

namespace Dova {

// The services start with their first use and stay: paying for that here keeps it off the first Connect. For
// lack of memory it is paid there after all.
TMbusIniter::TMbusIniter() noexcept {
  try {
    Os::ResolveNumeric("127.0.0.1", 1);
  } catch (const std::bad_alloc&) {
  }
}

}  // namespace Dova
