#include "platform/mbus/TThread.h"

namespace Dova {

void TThread::Start() {
  ERunState expected = rs_NotStarted;
  if (!state_.compare_exchange_strong(expected, rs_Starting)) return;
  if (thread_.Start(name_, [this] { Run(); })) {
    handshake_.Wait();
  } else {
    state_.store(rs_Stopped);
  }
}

void TThread::Run() {
  threadId_.store(Os::CurrentThreadToken());
  ERunState expected = rs_Starting;
  state_.compare_exchange_strong(expected, rs_Running);
  handshake_.Set();
  Execute();
  threadId_.store(0);
  state_.store(rs_Stopped);
}

void TThread::Stop(bool wait) {
  ERunState seen = rs_NotStarted;
  if (state_.compare_exchange_strong(seen, rs_Stopped) || seen == rs_Stopped) return;
  // The body may end at this moment by itself: its last word stands.
  if (seen != rs_Stopping && state_.compare_exchange_strong(seen, rs_Stopping)) OnStopRequest();
  if (wait && !thread_.IsCurrent()) thread_.Join(kStopMs);
}

}  // namespace Dova
