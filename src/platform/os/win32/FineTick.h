#pragma once

#include <windows.h>

#ifndef CREATE_WAITABLE_TIMER_HIGH_RESOLUTION
#define CREATE_WAITABLE_TIMER_HIGH_RESOLUTION 0x00000002  // since Windows 10 1803
#endif

namespace Dova::Os {

// Requests a tick of one millisecond while it lives; nothing unless PrepareFineTick found that needed. It
// costs power system-wide.
class TFineTick {
 public:
  TFineTick() noexcept;
  ~TFineTick();
  TFineTick(const TFineTick&) = delete;
  TFineTick& operator=(const TFineTick&) = delete;
};

}  // namespace Dova::Os
