#pragma once

#include <windows.h>

#include <atomic>

namespace Dova::Os {

// How often a thread looks at what it cannot be told about for lack of a handle.
inline constexpr DWORD kLookMs = 5;

// Waits for a handle for timeoutMs (negative: for ever) and answers meanwhile what other threads send to this
// thread's windows; true when the handle was signalled.
bool WaitAnsweringSentMessages(HANDLE handle, int timeoutMs) noexcept;

// The same for the first of two.
bool WaitAnsweringSentMessages(HANDLE first, HANDLE second, int timeoutMs) noexcept;

// The same for a flag, which it takes back; it is looked at now and then.
bool WaitAnsweringSentMessages(std::atomic<bool>& flag, int timeoutMs) noexcept;

}  // namespace Dova::Os
