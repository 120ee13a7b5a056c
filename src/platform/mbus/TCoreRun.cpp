#include "platform/mbus/TCoreRun.h"

#include <mutex>

#include "platform/mbus/TMbusIniter.h"
#include "platform/os/Mutex.h"

namespace Dova {
namespace {

// Neither is ever destroyed: clients may outlive the destruction of statics.
Os::TBareMutex& CoreMutex() {
  static Os::TBareMutex& mutex = *new Os::TBareMutex;
  return mutex;
}
TCoreRun* theCore = nullptr;  // guarded by CoreMutex

}  // namespace

TCoreRun& TCoreRun::Acquire() {
  const std::lock_guard lock(CoreMutex());
  if (!theCore) {
    theCore = new TCoreRun;
    theCore->Start();
  }
  theCore->add_ref(lock);
  return *theCore;
}

bool TCoreRun::Release() {
  const std::lock_guard lock(CoreMutex());
  if (!theCore || !theCore->drop_ref(lock)) return false;
  TCoreRun* last = theCore;
  theCore = nullptr;
  last->Stop(true);
  // One that the system has not let end in time still uses the object.
  if (last->State() == rs_Stopped) delete last;
  return true;
}

void TCoreRun::Execute() {
  const TMbusIniter initer;
  loop_.Run();
}

}  // namespace Dova
