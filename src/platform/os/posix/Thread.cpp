#include "platform/os/Thread.h"

#include <pthread.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <ctime>
#include <utility>

#include "platform/os/Event.h"
#include "platform/os/Mutex.h"

namespace Dova::Os {
namespace {

// Keeps the application's signal handlers off the threads that are started while it lives. The faults stay
// open: a blocked fault kills the process before the application's crash handler has its say.
class TSignalsBlocked {
 public:
  TSignalsBlocked() {
    sigset_t all;
    sigfillset(&all);
    for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT, SIGSYS})
      sigdelset(&all, fault);
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

  static void* Run(void* start);
};

void* TThread::TNative::Run(void* start) {
  const std::unique_ptr<std::shared_ptr<TNative>> owned(static_cast<std::shared_ptr<TNative>*>(start));
  TNative& self = **owned;
  pthread_setname_np(pthread_self(), self.name);
  self.body();
  // What the body holds goes before the end is announced: a joiner may count on it.
  self.body = nullptr;
  self.ended.Set();
  return nullptr;
}

std::uintptr_t CurrentThreadToken() noexcept {
  return static_cast<std::uintptr_t>(pthread_self());
}

void SleepMs(unsigned ms) noexcept {
  timespec left{static_cast<time_t>(ms / 1000), static_cast<long>(ms % 1000) * 1'000'000};
  while (clock_nanosleep(CLOCK_MONOTONIC, 0, &left, &left) == EINTR) continue;
}

// Here threads run on until the process is gone.
bool ProcessIsExiting() noexcept {
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

bool TThread::Start(const char* name, std::function<void()> body) {
  auto native = std::make_shared<TNative>();
  native->body = std::move(body);
  std::strncpy(native->name, name, sizeof native->name - 1);
  auto start = std::make_unique<std::shared_ptr<TNative>>(native);
  const TSignalsBlocked blocked;
  if (pthread_create(&native->id, nullptr, &TNative::Run, start.get()) != 0) return false;
  start.release();  // NOLINT(bugprone-unused-return-value): the new thread deletes it
  native_ = std::move(native);
  return true;
}

bool TThread::Join(int timeoutMs) noexcept {
  if (!native_) return true;
  AssertNoLockHeld("TThread::Join");
  if (!native_->ended.Wait(timeoutMs)) return false;
  pthread_join(native_->id, nullptr);
  native_.reset();
  return true;
}

void TThread::Detach() noexcept {
  if (!native_) return;
  pthread_detach(native_->id);
  native_.reset();
}

bool TThread::IsCurrent() const noexcept {
  return native_ && pthread_equal(native_->id, pthread_self()) != 0;
}

}  // namespace Dova::Os
