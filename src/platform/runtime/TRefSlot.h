#pragma once

#include <atomic>
#include <cstdint>

#include "platform/runtime/Ref.h"

namespace Dstl {

// A reference that any thread may copy while another thread replaces it. Copying takes no lock.
//
// The slot pays for copies in advance: it adds many references to its object, and a copy takes one of them.
// How many are taken is counted in the word that holds the pointer, in its upper 16 bits, which are zero in
// every address of a program on x86-64. So one atomic step reads the pointer and takes the reference.
template <class T>
class TRefSlot {
 public:
  TRefSlot() = default;
  TRefSlot(const TRefSlot&) = delete;
  TRefSlot& operator=(const TRefSlot&) = delete;
  ~TRefSlot() {
    wise_ref<T> none;
    Swap(none);
  }

  // Thread-safe.
  wise_ref<T> Get() noexcept {
    const std::uint64_t word = word_.fetch_add(kOne, std::memory_order_acquire) + kOne;
    T* const object = ObjectOf(word);
    if (object && TakenOf(word) >= kRefill) Refill(*object);
    return wise_ref<T>::adopt(object);
  }
  bool Is(const T* object) const noexcept {
    return ObjectOf(word_.load(std::memory_order_acquire)) == object;
  }

  // One thread at a time. `other` gets the object that was held.
  void Swap(wise_ref<T>& other) noexcept {
    if (other) other->add_ref(kPaid);
    const std::uint64_t word = word_.exchange(reinterpret_cast<std::uintptr_t>(other.get()));
    kept_.swap(other);
    if (other) other->release(kPaid - TakenOf(word));
  }
  // On a thread that may call Swap.
  const wise_ref<T>& Kept() const noexcept { return kept_; }

 private:
  static constexpr int kAddressBits = 48;
  static constexpr std::uint64_t kOne = std::uint64_t{1} << kAddressBits;
  // Paid references are never used up: so many threads do not refill at the same time.
  static constexpr unsigned kPaid = 0x8000;
  static constexpr unsigned kRefill = kPaid / 2;

  static T* ObjectOf(std::uint64_t word) noexcept { return reinterpret_cast<T*>(word & (kOne - 1)); }
  static unsigned TakenOf(std::uint64_t word) noexcept { return static_cast<unsigned>(word >> kAddressBits); }

  // Pays for those that were taken, unless another thread has done so, or the object is not held any more.
  void Refill(const T& object) noexcept {
    object.add_ref(kRefill);
    std::uint64_t word = word_.load(std::memory_order_relaxed);
    while (ObjectOf(word) == &object && TakenOf(word) >= kRefill) {
      if (word_.compare_exchange_weak(word, word - kRefill * kOne)) return;
    }
    object.release(kRefill);
  }

  std::atomic<std::uint64_t> word_{0};
  wise_ref<T> kept_;
};

}  // namespace Dstl
