#pragma once

#include <atomic>
#include <memory>
#include <vector>

#include "platform/os/Alarm.h"
#include "platform/os/MessageLoop.h"
#include "platform/os/Thread.h"
#include "platform/runtime/TTimerQueue.h"

namespace Dova {

// The real queue: the system's clock, and threads that are there while timers are.
//
// One thread, the leader, sleeps until the next timer is due. It gives that role away before it runs the
// expiry, to an idle thread or a new one, so that a slow expiry delays nobody else's timer. There are at most
// as many threads as expiries running at the same time, and one; those that stay idle end after a while. The
// destruction of the last timer ends them all.
//
// A thread that could not be had is asked for again whenever a timer is started or made, by a worker whose
// expiry has ended (which then leads itself), and every TMessageLoop::kAgainMs by the helper.
//
// A forked child finds the queue as new. Timers of the parent do not touch it.
class TThreadTimerQueue final : public TTimerQueue {
 public:
  // Never destroyed: timers may outlive every static object.
  static TThreadTimerQueue& Instance() noexcept;

  std::int64_t NowNs() const noexcept override;

  // Asks for the thread that could not be had, if that is so; true when it is still lacking.
  static bool AskForThread() noexcept;

  // A loop that runs AskForThread and, for the life of this object, is woken when a thread is lacking.
  class THelper {
   public:
    explicit THelper(Os::TMessageLoop& loop) noexcept;
    ~THelper();
    THelper(const THelper&) = delete;
    THelper& operator=(const THelper&) = delete;

   private:
    Os::TMessageLoop& loop_;
  };

  // For tests: threads that have not ended, and how often one of them woke up.
  unsigned ThreadCount() const noexcept { return threads_.load(); }
  std::uint64_t WakeCount() const noexcept { return wakes_.load(); }

 private:
  struct TWorker {
    Os::TAlarm alarm;
    // Under the queue's lock:
    Os::TThread thread;
    bool idle = false;
    bool busy = false;  // runs an expiry
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
  void Sleep(TWorker& self, TLock& lock, std::int64_t dueNs);

  // Under the queue's lock:
  TWorkerRef leader_;
  std::vector<TWorkerRef> workers_;
  Os::TThread left_;  // the last one that ended for lack of work
  Os::TMessageLoop* helper_ = nullptr;

  std::atomic<unsigned> threads_{0};
  std::atomic<std::uint64_t> wakes_{0};

  union TStorage;
  static TStorage storage;
  static void ForgetParent() noexcept;
  static const Os::TForkedChildStep forgetParent;
};

}  // namespace Dova
