#pragma once

#include <string>

#include "platform/os/Cause.h"

namespace Dova::Os {

// Why something failed: a text of ours, the system's error code, or both. Cheap to copy; neither is set if
// nothing failed.
struct TError {
  const char* what = nullptr;  // static
  int code = 0;                // errno on Linux, GetLastError or WSAGetLastError on Windows

  ECause cause = ECause::Other;  // where the code does not say it

  explicit operator bool() const { return what != nullptr || code != 0; }

  ECause Cause() const { return cause != ECause::Other ? cause : CauseOf(code); }

  // For users: ours, the system's, or "ours (the system's)".
  std::string Text() const;
};

}  // namespace Dova::Os
