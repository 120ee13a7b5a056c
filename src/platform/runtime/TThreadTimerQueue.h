#pragma once

#include <atomic>
#include <memory>
#include <vector>

#include "platform/os/Alarm.h"
#include "platform/os/MessageLoop.h"
#include "platform/os/Thread.h"
#include "platform/runtime/TTimerQueue.h"

namespace Dova {

// The production queue: the system's clock, and threads that exist while timers do.
//
// One thread, the leader, sleeps until the next timer is due. Before it runs the expiry it passes the role to
// an idle or new thread, so a slow expiry does not delay other timers. There is at most one thread more than
// expiries running concurrently; idle threads end after a while. Destroying the last timer ends them all.
//
// If a thread could not be started, it is retried whenever a timer is started or created, by a worker whose
// expiry has ended (which then leads itself), and every TMessageLoop::kAgainMs by the helper.
//
// A forked child starts with a new queue. Timers of the parent do not affect it.
class TThreadTimerQueue final : public TTimerQueue {
 public:
  // Never destroyed: timers may outlive every static object.
  static TThreadTimerQueue& Instance() noexcept;

  Os::TTime Now() const noexcept override;
  std::int64_t Tick() const noexcept override { return Os::Tick(); }
  bool IsStuck() noexcept override;
  unsigned TickMs() const noexcept override { return Os::kTickMs; }

  // Retries to start a missing thread; true if it is still missing.
  static bool AskForThread() noexcept;

  // A loop that runs AskForThread; for the lifetime of this object it is woken when a thread is missing.
  class THelper {
   public:
    explicit THelper(Os::TMessageLoop& loop) noexcept;
    ~THelper();
    THelper(const THelper&) = delete;
    THelper& operator=(const THelper&) = delete;

   private:
    Os::TMessageLoop& loop_;
  };

  // For tests: number of live threads, and of their wake-ups.
  unsigned ThreadCount() const noexcept { return threads_.load(); }
  std::uint64_t WakeCount() const noexcept { return wakes_.load(); }

 private:
  struct TWorker {
    Os::TAlarm alarm;
    // Guarded by the queue's lock:
    Os::TThread thread;
    bool idle = false;
    bool busy = false;  // running an expiry
    bool retired = false;
  };
  using TWorkerRef = std::shared_ptr<TWorker>;
  class TStay;

  constexpr TThreadTimerQueue() = default;
  ~TThreadTimerQueue() override = default;

  void OnSooner(TLock& lock) noexcept override;
  void OnLastGone(TLock& lock) noexcept override;

  TWorkerRef AppointLeader() noexcept;
  bool HireLeader() noexcept;
  bool StartWorker(const TWorkerRef& worker);
  void Work(const TWorkerRef& self);
  void Lead(const TWorkerRef& self, TLock& lock);
  bool Idle(TWorker& self, TLock& lock);
  void Leave(const TWorkerRef& self, TLock& lock);
  void Sleep(TWorker& self, TLock& lock, Os::TTime due);

  // Guarded by the queue's lock:
  TWorkerRef leader_;
  std::vector<TWorkerRef> workers_;
  Os::TThread left_;  // the last one that ended while idle
  Os::TMessageLoop* helper_ = nullptr;

  std::atomic<unsigned> threads_{0};
  std::atomic<std::uint64_t> wakes_{0};

  union TStorage;
  static TStorage storage;
  static void ForgetParent() noexcept;
  static const Os::TForkedChildStep forgetParent;
};

}  // namespace Dova
