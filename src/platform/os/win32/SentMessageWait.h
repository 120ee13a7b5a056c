#pragma once

#include <windows.h>

namespace Dova::Os {

// Waits for a handle for timeoutMs (negative: for ever) and answers meanwhile what other threads send to this
// thread's windows; true when the handle was signalled.
bool WaitAnsweringSentMessages(HANDLE handle, int timeoutMs) noexcept;

}  // namespace Dova::Os
