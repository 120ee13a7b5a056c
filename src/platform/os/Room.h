#pragma once

#include <cstddef>
#include <new>

namespace Dova::Os {

// In-place storage for a system object whose type is known only to the source that uses it, without
// allocating memory.
template <class TNative, std::size_t kBytes>
class TRoom {
 public:
  TRoom() noexcept {
    static_assert(sizeof(TNative) <= kBytes && alignof(TNative) <= alignof(std::max_align_t));
    ::new (bytes_) TNative;
  }
  ~TRoom() { (**this).~TNative(); }
  TRoom(const TRoom&) = delete;
  TRoom& operator=(const TRoom&) = delete;

  TNative& operator*() noexcept { return *std::launder(reinterpret_cast<TNative*>(bytes_)); }
  TNative* operator->() noexcept { return &**this; }

 private:
  alignas(std::max_align_t) unsigned char bytes_[kBytes];
};

}  // namespace Dova::Os
