#include "shmem/TCoreRun.h"

#include <mutex>
#include <new>
#include <utility>

#include "platform/os/Mutex.h"
#include "platform/runtime/TThreadTimerQueue.h"
#include "shmem/TMbusIniter.h"

namespace Dova {
namespace {

// Trivially destructible: clients may outlive the destruction of statics.
constinit Os::TMutex coreMutex;
constinit TCoreRun* theCore = nullptr;  // guarded by coreMutex

// In a forked child there is no core thread, and no thread that could unlock the mutex.
const Os::TForkedChildStep forgetParent([]() noexcept {
  ::new (&coreMutex) Os::TMutex;
  theCore = nullptr;
});

}  // namespace

TCoreRun& TCoreRun::Acquire() {
  TCoreRun& core = TakeReference();
  core.Start();
  return core;
}

TCoreRun& TCoreRun::TakeReference() {
  const std::lock_guard lock(coreMutex);
  if (!theCore) theCore = new TCoreRun;
  theCore->add_ref(lock);
  return *theCore;
}

TCoreRun* TCoreRun::DropReference() {
  const std::lock_guard lock(coreMutex);
  if (!theCore || !theCore->drop_ref(lock)) return nullptr;
  return std::exchange(theCore, nullptr);
}

bool TCoreRun::Release() {
  if (Os::ProcessIsExiting()) return false;
  TCoreRun* const last = DropReference();
  if (!last) return false;
  last->Stop(true);
  last->Dispose();  // a thread that has not ended within the time limit still uses the object
  return true;
}

void TCoreRun::Run() {
  const TMbusIniter initer;
  TThread::Run();
}

void TCoreRun::Execute() {
  const TThreadTimerQueue::THelper helper(loop_);
  loop_.Run(&TThreadTimerQueue::AskForThread);
}

}  // namespace Dova
