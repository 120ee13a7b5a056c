#include "shmem/TThread.h"

namespace Dova {

// Each woken thread wakes the next: several may wait, even nested on one thread, if a window procedure is
// called from the wait.
bool TThread::Start() {
  ERunState seen = rs_NotStarted;
  if (state_.compare_exchange_strong(seen, rs_Starting)) {
    if (!thread_.Start(name_, [this] { Run(); })) Refused();
  } else if (seen != rs_Starting) {
    return seen == rs_Running;
  }
  if (!Os::HoldsLoaderLock()) {
    while (state_.load() == rs_Starting) handshake_.Wait();
    handshake_.Set();
  }
  return state_.load() != rs_NotStarted;
}

void TThread::Refused() {
  ERunState expected = rs_Starting;
  if (!state_.compare_exchange_strong(expected, rs_NotStarted)) state_.store(rs_Stopped);
  handshake_.Set();
}

// Runs also if the body is unwound by a forced end of the thread. The object may be gone afterwards.
class TThread::TEnd {
 public:
  explicit TEnd(TThread& thread) : thread_(thread) {}
  ~TEnd() {
    thread_.threadId_.store(0);
    if (thread_.state_.exchange(rs_Stopped) == rs_Disposed) delete &thread_;
  }
  TEnd(const TEnd&) = delete;
  TEnd& operator=(const TEnd&) = delete;

 private:
  TThread& thread_;
};

void TThread::Run() {
  const TEnd end(*this);
  threadId_.store(Os::CurrentThreadToken());
  ERunState expected = rs_Starting;
  state_.compare_exchange_strong(expected, rs_Running);
  handshake_.Set();
  Execute();
}

void TThread::Stop(bool wait) {
  ERunState seen = rs_NotStarted;
  if (state_.compare_exchange_strong(seen, rs_Stopped) || seen == rs_Stopped) return;
  // The body may be ending by itself at this moment: its final state is kept.
  if (seen != rs_Stopping && state_.compare_exchange_strong(seen, rs_Stopping)) OnStopRequest();
  if (wait && !thread_.IsCurrent() && thread_.Join(kStopMs)) state_.store(rs_Stopped);
}

void TThread::Dispose() {
  if (state_.exchange(rs_Disposed) == rs_Stopped) delete this;
}

}  // namespace Dova
