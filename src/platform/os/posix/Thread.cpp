#include "platform/os/Thread.h"

#include <pthread.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <ctime>
#include <new>
#include <utility>

#include "platform/os/Event.h"
#include "platform/os/Mutex.h"
#include "platform/os/Process.h"

namespace Dova::Os {
namespace {

// Blocks signals in threads started during its lifetime, so that the application's signal handlers do not run
// on them. Fault signals stay unblocked: a blocked fault kills the process before the application's crash
// handler runs. So do the signals that runtimes use to stop threads that have run their code: otherwise a
// garbage collection would not end.
class TSignalsBlocked {
 public:
  TSignalsBlocked() {
    sigset_t all;
    sigfillset(&all);
    for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT, SIGSYS})
      sigdelset(&all, fault);
    for (const int stop : {SIGPWR, SIGXCPU, SIGURG, SIGPROF}) sigdelset(&all, stop);
    for (int stop = SIGRTMIN; stop <= SIGRTMAX; ++stop) sigdelset(&all, stop);
    pthread_sigmask(SIG_SETMASK, &all, &before_);
  }
  ~TSignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  TSignalsBlocked(const TSignalsBlocked&) = delete;
  TSignalsBlocked& operator=(const TSignalsBlocked&) = delete;

 private:
  sigset_t before_{};
};

}  // namespace

struct TThread::TNative {
  pthread_t id{};
  std::function<void()> body;
  char name[16] = {};
  TEvent ended;
  const unsigned generation = ProcessGeneration();
  class TEnd;

  bool IsInherited() const noexcept { return generation != ProcessGeneration(); }
  static void* Run(void* start);
};

// Destroys the body before announcing the end: a joiner may rely on that.
class TThread::TNative::TEnd {
 public:
  explicit TEnd(TNative& thread) noexcept : thread_(thread) {}
  ~TEnd() {
    thread_.body = nullptr;
    thread_.ended.Set();
  }
  TEnd(const TEnd&) = delete;
  TEnd& operator=(const TEnd&) = delete;

 private:
  TNative& thread_;
};

void* TThread::TNative::Run(void* start) {
  const std::unique_ptr<std::shared_ptr<TNative>> owned(static_cast<std::shared_ptr<TNative>*>(start));
  TNative& self = **owned;
  pthread_setname_np(pthread_self(), self.name);
  const TEnd end(self);
  self.body();
  return nullptr;
}

std::uintptr_t CurrentThreadToken() noexcept {
  return static_cast<std::uintptr_t>(pthread_self());
}

void SleepMs(unsigned ms) noexcept {
  timespec left{static_cast<time_t>(ms / 1000), static_cast<long>(ms % 1000) * 1'000'000};
  while (clock_nanosleep(CLOCK_MONOTONIC, 0, &left, &left) == EINTR) continue;
}

// Threads run until the process is gone.
bool ProcessIsExiting() noexcept {
  return false;
}

// Unloading takes no lock that threads need.
bool HoldsLoaderLock() noexcept {
  return false;
}

TThread::~TThread() {
  Detach();
}

TThread::TThread(TThread&& other) noexcept = default;

TThread& TThread::operator=(TThread&& other) noexcept {
  if (this != &other) {
    Detach();
    native_ = std::move(other.native_);
  }
  return *this;
}

bool TThread::Start(const char* name, std::function<void()> body) noexcept try {
  auto native = std::make_shared<TNative>();
  native->body = std::move(body);
  std::strncpy(native->name, name, sizeof native->name - 1);
  auto start = std::make_unique<std::shared_ptr<TNative>>(native);
  const TSignalsBlocked blocked;
  if (pthread_create(&native->id, nullptr, &TNative::Run, start.get()) != 0) return false;
  start.release();  // NOLINT(bugprone-unused-return-value): the new thread deletes it
  native_ = std::move(native);
  return true;
} catch (const std::bad_alloc&) {
  return false;
}

bool TThread::Join(int timeoutMs) noexcept {
  if (!native_) return true;
  if (native_->IsInherited()) {
    Detach();
    return true;
  }
  AssertNoLockHeld("TThread::Join");
  if (!native_->ended.Wait(timeoutMs)) return false;
  pthread_join(native_->id, nullptr);
  native_.reset();
  return true;
}

void TThread::Detach() noexcept {
  if (!native_) return;
  if (!native_->IsInherited()) pthread_detach(native_->id);
  native_.reset();
}

bool TThread::IsCurrent() const noexcept {
  return native_ && pthread_equal(native_->id, pthread_self()) != 0;
}

}  // namespace Dova::Os
