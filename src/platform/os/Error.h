#pragma once

#include <string>

namespace Dova::Os {

// Why something failed: a text of ours, the system's error code, or both. Cheap to copy; neither is set if
// nothing failed.
struct TError {
  const char* what = nullptr;  // static
  int code = 0;                // errno on Linux, GetLastError or WSAGetLastError on Windows

  explicit operator bool() const { return what != nullptr || code != 0; }

  // For users: ours, the system's, or "ours (the system's)".
  std::string Text() const;
};

}  // namespace Dova::Os
