#pragma once

namespace Dova::Os {

// Runs what waits for the calling thread's windows, at most kMessagesAtOnce messages, and not what comes
// meanwhile; waits up to timeoutMs (negative: for ever) when there is nothing. Returns how many it ran;
// negative when the system refuses, or on Windows when the thread is told to quit (WM_QUIT, which is left in
// the queue).
int DispatchMessages(int timeoutMs);
inline constexpr int kMessagesAtOnce = 1000;

// A descriptor that is readable while something waits for the calling thread; it lives as long as the thread.
// -1 when there is none.
int MessagesDescriptor() noexcept;

}  // namespace Dova::Os
