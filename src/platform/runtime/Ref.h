// Reference counting: an object contains its count and deletes itself when the last reference is released.
#pragma once

#include <atomic>
#include <mutex>
#include <utility>

namespace Dstl {

// Thread-safe count. An object starts without a reference; the first wise_ref acquires it.
template <class TCount>
class ref_counter {
 public:
  ref_counter() = default;
  ref_counter(const ref_counter&) = delete;
  ref_counter& operator=(const ref_counter&) = delete;

  void add_ref(TCount count = 1) const noexcept { count_.fetch_add(count, std::memory_order_relaxed); }

  // Acquires a reference unless the last one is already released. For late callbacks whose end the object's
  // destructor waits for.
  bool try_add_ref() const noexcept {
    TCount count = count_.load(std::memory_order_relaxed);
    while (count != 0 && !count_.compare_exchange_weak(count, count + 1, std::memory_order_relaxed)) continue;
    return count != 0;
  }

  // Releases references. Returns true if they were the last, and the object is deleted.
  bool release(TCount count = 1) const noexcept {
    if (count_.fetch_sub(count, std::memory_order_acq_rel) != count) return false;
    delete this;
    return true;
  }

 protected:
  virtual ~ref_counter() = default;

 private:
  mutable std::atomic<TCount> count_{0};
};

// As ref_counter, but changed only under a mutex supplied by the owner, so that checking and acquiring a
// shared object can be one step. Does not delete itself: the derived class decides under the same mutex.
template <class TCount>
class ref_counter_ost {
 protected:
  ref_counter_ost() = default;
  ~ref_counter_ost() = default;

  template <class TMutex>
  void add_ref(const std::lock_guard<TMutex>&) noexcept {
    ++count_;
  }
  template <class TMutex>
  bool drop_ref(const std::lock_guard<TMutex>&) noexcept {
    return --count_ == 0;
  }

 private:
  TCount count_ = 0;
};

// Holds one reference, or null.
template <class T>
class wise_ref {
 public:
  wise_ref() noexcept = default;
  explicit wise_ref(T* object) noexcept : object_(object) {
    if (object_) object_->add_ref();
  }
  // Null if the object's last reference is already released.
  static wise_ref try_hold(T* object) noexcept {
    wise_ref held;
    if (object->try_add_ref()) held.object_ = object;
    return held;
  }
  // Takes over a reference that somebody has added.
  static wise_ref adopt(T* object) noexcept {
    wise_ref held;
    held.object_ = object;
    return held;
  }
  wise_ref(const wise_ref& other) noexcept : wise_ref(other.object_) {}
  wise_ref(wise_ref&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  template <class TDerived>
  wise_ref(const wise_ref<TDerived>& other) noexcept : wise_ref(static_cast<T*>(other.get())) {}  // NOLINT
  ~wise_ref() { reset(); }

  wise_ref& operator=(wise_ref other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }

  void swap(wise_ref& other) noexcept { std::swap(object_, other.object_); }
  void reset() noexcept {
    if (T* object = std::exchange(object_, nullptr)) object->release();
  }

  T* get() const noexcept { return object_; }
  T* operator->() const noexcept { return object_; }
  T& operator*() const noexcept { return *object_; }
  explicit operator bool() const noexcept { return object_ != nullptr; }

 private:
  T* object_ = nullptr;
};

template <class T, class... TArgs>
wise_ref<T> make_ref(TArgs&&... args) {
  return wise_ref<T>(new T(std::forward<TArgs>(args)...));
}

}  // namespace Dstl
