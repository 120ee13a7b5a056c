#pragma once

namespace Dova::Os {

// Runs the messages waiting for the calling thread's windows, at most kMessagesAtOnce and none that arrive
// meanwhile. If there are none, waits up to timeoutMs (negative: no limit). Returns their number; negative on
// error, and on Windows if WM_QUIT is queued (it stays in the queue).
int DispatchMessages(int timeoutMs);
inline constexpr int kMessagesAtOnce = 1000;

// A descriptor that is readable while messages wait for the calling thread; valid for the thread's lifetime.
// -1 if there is none.
int MessagesDescriptor() noexcept;

}  // namespace Dova::Os
