#pragma once

#include <cstdint>

namespace Dova::Os {

// Something that other event loops can wait for: a descriptor that polls readable, on Windows a HANDLE that
// is signalled, from Set to Clear. Made when first asked for.
class TSignal {
 public:
  TSignal() = default;
  ~TSignal();
  TSignal(const TSignal&) = delete;
  TSignal& operator=(const TSignal&) = delete;

  // Not to be read, reset or closed. kNone when there is none to be had.
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
