#pragma once

#include <atomic>
#include <cstdint>

#include "platform/os/Event.h"
#include "platform/os/Thread.h"

namespace Dova {

// A thread with a start handshake and a bounded stop. Start and Stop must be called by one thread at a time.
class TThread {
 public:
  enum ERunState {
    rs_NotStarted = 0,
    rs_Starting = 1,
    rs_Running = 2,
    rs_Stopping = 3,
    rs_Stopped = 4,
    rs_Disposed = 5,
  };

  // How long Stop waits for the body to end, in milliseconds.
  static constexpr int kStopMs = 1000;

  explicit TThread(const char* name) : name_(name) {}
  virtual ~TThread() = default;
  TThread(const TThread&) = delete;
  TThread& operator=(const TThread&) = delete;

  // Returns when the body has begun (at once under the loader lock, where it cannot begin). Only from state
  // rs_NotStarted. If the system has no thread available, returns false and keeps that state, so it may be
  // tried again. Waits for another Start in progress; otherwise does nothing.
  virtual bool Start();

  // Asks the body to end; with `wait`, and not on the thread itself, waits up to kStopMs. A thread that was
  // never started is stopped at once.
  virtual void Stop(bool wait);

  // After Stop: deletes the object, which must have been made by new, immediately or when its body ends.
  void Dispose();

  ERunState State() const { return state_.load(); }

  // Token of the thread running the body (Os::CurrentThreadToken); 0 if there is none.
  std::uintptr_t ThreadId() const { return threadId_.load(); }

 protected:
  // The thread's work. Must end soon after State() has become rs_Stopping; OnStopRequest is then called on
  // the requesting thread to wake it. Must catch its own exceptions; forced ends of the thread (pthread_exit,
  // cancellation) may pass through.
  virtual void Execute() = 0;
  virtual void OnStopRequest() {}

  // Runs on the thread: bookkeeping around Execute. Start returns once this has begun.
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
