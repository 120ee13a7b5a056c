#pragma once

#include <cstddef>
#include <new>

namespace Dova::Os {

// Room inside an object for what it has of the system, whose type only the source that uses it knows: no
// memory is taken for it.
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
