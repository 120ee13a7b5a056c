#include "platform/mbus/TMbusIniter.h"

#include "platform/os/Socket.h"

namespace Dova {

// The services start with their first use and stay: paying for that here keeps it off the first Connect.
TMbusIniter::TMbusIniter() {
  Os::ResolveNumeric("127.0.0.1", 1);
}

}  // namespace Dova
