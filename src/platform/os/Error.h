#pragma once

#include <string>

#include "platform/os/Cause.h"

namespace Dova::Os {

// Why something failed: a text of ours, the system's error code, or both. Neither is set on success. Cheap to
// copy.
struct TError {
  const char* what = nullptr;  // static string
  int code = 0;                // errno on Linux, GetLastError or WSAGetLastError on Windows

  ECause cause = ECause::Other;  // set if the code alone does not tell

  explicit operator bool() const { return what != nullptr || code != 0; }

  ECause Cause() const { return cause != ECause::Other ? cause : CauseOf(code); }

  // For users: our text, the system's, or "ours (the system's)".
  std::string Text() const;
};

}  // namespace Dova::Os
