#include "support/Held.h"

#include <windows.h>

namespace TestSupport {

THeld Held() {
  DWORD handles = 0;
  GetProcessHandleCount(GetCurrentProcess(), &handles);
  return {{"handles", handles}};
}

}  // namespace TestSupport
