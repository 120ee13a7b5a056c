#pragma once

#include <cstdint>

namespace Dova::Os {

// A handle that other event loops can wait for: a descriptor that polls readable, or on Windows a HANDLE that
// is signalled, between Set and Clear. Created on first use.
class TSignal {
 public:
  TSignal() = default;
  ~TSignal();
  TSignal(const TSignal&) = delete;
  TSignal& operator=(const TSignal&) = delete;

  // The caller must not read, reset or close it. kNone if the system has none left.
  std::intptr_t Handle() noexcept;
  void Set() noexcept;
  void Clear() noexcept;

#ifdef _WIN32
  static constexpr std::intptr_t kNone = 0;
#else
  static constexpr std::intptr_t kNone = -1;
#endif

 private:
  std::intptr_t handle_ = kNone;
  bool set_ = false;
};

}  // namespace Dova::Os
