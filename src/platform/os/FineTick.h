#pragma once

namespace Dova::Os {

// Windows before version 10 (1803) wakes sleeping threads only at the ticks of its clock, usually every
// 15.6 ms. Only there this loads the system's library that makes the tick finer. It waits for the loader, so
// it must be called before the first alarm, on the thread that wants one, without any lock of the library.
#ifdef _WIN32
void PrepareFineTick() noexcept;
#else
inline void PrepareFineTick() noexcept {}
#endif

}  // namespace Dova::Os
