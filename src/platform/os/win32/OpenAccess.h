// Security attributes that grant access to every user of the machine.
#pragma once

#include <windows.h>

namespace Dova::Os {

class TOpenAccess {
 public:
  explicit TOpenAccess(bool forEveryone) noexcept {
    wanted_ = forEveryone && InitializeSecurityDescriptor(&descriptor_, 1) != FALSE &&
              SetSecurityDescriptorDacl(&descriptor_, TRUE, nullptr, FALSE) != FALSE;
    attributes_.nLength = sizeof attributes_;
    attributes_.lpSecurityDescriptor = &descriptor_;
    attributes_.bInheritHandle = FALSE;
  }
  TOpenAccess(const TOpenAccess&) = delete;
  TOpenAccess& operator=(const TOpenAccess&) = delete;

  // Null selects the system's default.
  SECURITY_ATTRIBUTES* Attributes() noexcept { return wanted_ ? &attributes_ : nullptr; }

 private:
  bool wanted_ = false;
  SECURITY_DESCRIPTOR descriptor_{};
  SECURITY_ATTRIBUTES attributes_{};
};

}  // namespace Dova::Os
