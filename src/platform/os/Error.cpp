#include "platform/os/Error.h"

#include "platform/os/ErrorText.h"

namespace Dova::Os {

std::string TError::Text() const {
  if (code == 0) return what ? what : "";
  const std::string system = SysErrorMessage(code);
  return what ? what + (" (" + system + ")") : system;
}

}  // namespace Dova::Os
