#pragma once

#include <atomic>
#include <cstdint>

#include "platform/os/Event.h"
#include "platform/os/Thread.h"

namespace Dova {

// A thread with a start handshake and a bounded stop. Start and Stop are for one owner at a time.
class TThread {
 public:
  enum ERunState { rs_NotStarted = 0, rs_Starting = 1, rs_Running = 2, rs_Stopping = 3, rs_Stopped = 4 };

  // How long Stop waits for a body that does not end.
  static constexpr int kStopMs = 1000;

  explicit TThread(const char* name) : name_(name) {}
  virtual ~TThread() = default;
  TThread(const TThread&) = delete;
  TThread& operator=(const TThread&) = delete;

  // Returns when the body has begun (under the loader lock, where it cannot, at once). Only from state
  // rs_NotStarted, which stays when the system has no thread to give; then false, and it may be asked for
  // again. While another start is under way it waits for that one, otherwise nothing happens.
  virtual bool Start();

  // Asks the body to end; with `wait`, and not on the thread itself, waits for that up to kStopMs. A thread
  // that was never started is stopped at once.
  virtual void Stop(bool wait);

  ERunState State() const { return state_.load(); }

  // Token of the thread that runs the body (Os::CurrentThreadToken), 0 when none does.
  std::uintptr_t ThreadId() const { return threadId_.load(); }

 protected:
  // The thread's work. Ends soon after State() has become rs_Stopping; OnStopRequest is called then, on the
  // thread that asks, to wake it.
  // Catches what it throws itself; ends of the thread by others (pthread_exit, cancelling) may pass through.
  virtual void Execute() = 0;
  virtual void OnStopRequest() {}

  // What the thread runs: bookkeeping around Execute. Start returns once this one has begun.
  virtual void Run();

 private:
  class TEnd;

  void Refused();

  const char* const name_;
  std::atomic<ERunState> state_{rs_NotStarted};
  std::atomic<std::uintptr_t> threadId_{0};
  Os::TEvent handshake_;
  Os::TThread thread_;
};

}  // namespace Dova
