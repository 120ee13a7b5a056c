// The library's operating system layer, played by the scheduler: threads, mutexes, events, alarms, the clock.
#include <mutex>
#include <utility>

#include "platform/os/Alarm.h"
#include "platform/os/AnswerWatch.h"
#include "platform/os/Clock.h"
#include "platform/os/Event.h"
#include "platform/os/Mutex.h"
#include "platform/os/Thread.h"
#include "simulation/MessageWindows.h"
#include "simulation/Scheduler.h"

namespace Dova::Os {

using vektest::Scheduler;

namespace {

Scheduler* Running() {
  return Scheduler::Current() && Scheduler::Current()->OnTask() ? Scheduler::Current() : nullptr;
}

vektest::Ns DueIn(int ms) {
  return ms < 0 ? vektest::kNever : Scheduler::Current()->Now() + ms * vektest::kMs;
}

}  // namespace

// ---- clock ----

std::int64_t MonotonicNs() noexcept {
  return Scheduler::Current() ? Scheduler::Current()->Now() : 0;
}

std::int64_t Tick() noexcept {
  return MonotonicNs() / (kTickMs * vektest::kMs);
}

void SleepMs(unsigned ms) noexcept {
  Scheduler::Current()->Sleep(ms * vektest::kMs);
}

// ---- mutexes ----

void TBareMutex::lock() noexcept {
  Scheduler* const scheduler = Running();
  if (scheduler) scheduler->Point();
  while (std::exchange(locked_, true)) {
    if (!scheduler) vektest::Fail("deadlock", "a mutex is held when nobody runs");
    scheduler->Wait(waiting_, vektest::kNever);
  }
}

bool TBareMutex::try_lock() noexcept {
  return !std::exchange(locked_, true);
}

void TBareMutex::unlock() noexcept {
  locked_ = false;
  Scheduler::WakeAll(waiting_);
  if (Scheduler* const scheduler = Running()) scheduler->Point();
}

void CountLock(int change) noexcept {
  if (Scheduler* const scheduler = Running()) scheduler->Self().locks += change;
}

void AssertNoLockHeld(const char* waiter) noexcept {
  if (Running() && Running()->Self().locks != 0)
    vektest::Fail("lock", std::string(waiter) + " under a leaf lock");
}

// ---- events ----

struct TEvent::TNative {
  bool isSet = false;
  vektest::Task* waiting = nullptr;
};

TEvent::TEvent() noexcept = default;
TEvent::~TEvent() = default;

void TEvent::Set() noexcept {
  native_->isSet = true;
  Scheduler::WakeOne(native_->waiting);
  // A waiter may destroy the event from here on.
  if (Scheduler* const scheduler = Running()) scheduler->Point();
}

bool TEvent::Wait(int timeoutMs) noexcept {
  if (timeoutMs == 0) return std::exchange(native_->isSet, false);
  AssertNoLockHeld("TEvent::Wait");
  Scheduler& scheduler = *Scheduler::Current();
  scheduler.Point();
  const vektest::Ns due = DueIn(timeoutMs);
  while (!native_->isSet) {
    if (scheduler.AnswersWhileWaiting()) {
      const TAnswerScope answering;
      scheduler.Answer();
      continue;
    }
    if (vektest::AnswerSent()) continue;
    if (!scheduler.ListenTo(native_->waiting, due)) break;
  }
  return std::exchange(native_->isSet, false);
}

struct TAlarm::TNative {
  bool woken = false;
  vektest::Task* waiting = nullptr;
};

TAlarm::TAlarm() noexcept = default;
TAlarm::~TAlarm() = default;

void TAlarm::WaitUntil(TTime due) noexcept {
  const std::int64_t dueNs = due.time_since_epoch().count();
  AssertNoLockHeld("TAlarm::WaitUntil");
  Scheduler& scheduler = *Scheduler::Current();
  scheduler.Point();
  if (!native_->woken && scheduler.Now() < dueNs)
    scheduler.Wait(native_->waiting, scheduler.TickAfter(dueNs));
  native_->woken = false;
}

void TAlarm::Wake() noexcept {
  native_->woken = true;
  Scheduler::WakeOne(native_->waiting);
  if (Scheduler* const scheduler = Running()) scheduler->Point();
}

// ---- threads ----

struct TThread::TNative {
  std::function<void()> body;
  TEvent ended;
  std::uintptr_t token = 0;
};

std::uintptr_t CurrentThreadToken() noexcept {
  return Running() ? reinterpret_cast<std::uintptr_t>(&Running()->Self()) : 1;
}

bool ProcessIsExiting() noexcept {
  return false;
}

bool HoldsLoaderLock() noexcept {
  return false;
}

TThread::~TThread() {
  Detach();
}

TThread::TThread(TThread&& other) noexcept = default;
TThread& TThread::operator=(TThread&& other) noexcept = default;

bool TThread::Start(const char* name, std::function<void()> body) noexcept {
  const vektest::OutOfLibrary system;
  Scheduler& scheduler = *Scheduler::Current();
  if (!scheduler.StartsThread()) return false;
  auto native = std::make_shared<TNative>();
  native->body = std::move(body);
  vektest::Task* const task = scheduler.Start(name, [native] {
    const vektest::InLibrary library;
    native->body();
    native->body = nullptr;
    native->ended.Set();
  });
  native->token = reinterpret_cast<std::uintptr_t>(task);
  native_ = std::move(native);
  scheduler.Point();
  return true;
}

bool TThread::Join(int timeoutMs) noexcept {
  if (!native_) return true;
  AssertNoLockHeld("TThread::Join");
  const auto native = native_;
  if (!native->ended.Wait(timeoutMs)) return false;
  native_.reset();
  return true;
}

void TThread::Detach() noexcept {
  native_.reset();
}

bool TThread::IsCurrent() const noexcept {
  return native_ && native_->token == CurrentThreadToken();
}

// ---- messages sent to a waiting thread ----

TAnswerWatch* TAnswerWatch::Set(TAnswerWatch* watch) noexcept {
  return Running() ? std::exchange(Running()->Self().watch, watch) : nullptr;
}

TAnswerScope::TAnswerScope() noexcept : watch_(TAnswerWatch::Set(nullptr)) {
  ++Running()->Self().answering;
  if (watch_) watch_->BeforeAnswer();
}

TAnswerScope::~TAnswerScope() {
  if (watch_) watch_->AfterAnswer();
  TAnswerWatch::Set(watch_);
  --Running()->Self().answering;
}

bool TAnswerScope::IsAnswering() noexcept {
  return Running() && Running()->Self().answering != 0;
}

}  // namespace Dova::Os
