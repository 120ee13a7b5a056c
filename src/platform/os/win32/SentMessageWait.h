#pragma once

#include <windows.h>

#include <atomic>

namespace Dova::Os {

// Poll interval for conditions without a handle.
inline constexpr DWORD kLookMs = 5;

// Waits for a handle for timeoutMs (negative: no limit), answering messages that other threads send to this
// thread's windows. True if the handle was signalled.
bool WaitAnsweringSentMessages(HANDLE handle, int timeoutMs) noexcept;

// The same for two handles; true if the first was signalled.
bool WaitAnsweringSentMessages(HANDLE first, HANDLE second, int timeoutMs) noexcept;

// The same for a flag, which is polled, and reset when found set.
bool WaitAnsweringSentMessages(std::atomic<bool>& flag, int timeoutMs) noexcept;

}  // namespace Dova::Os
