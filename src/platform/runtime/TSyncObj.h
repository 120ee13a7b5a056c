#pragma once

#include <atomic>
#include <utility>

#include "platform/runtime/TSyncContext.h"

namespace Dova {

// An action executed inside a synchronised context.
class TSyncObj {
 public:
  explicit TSyncObj(Dstl::wise_ref<TSyncContext> context) noexcept : context_(std::move(context)) {}
  virtual ~TSyncObj() = default;
  TSyncObj(const TSyncObj&) = delete;
  TSyncObj& operator=(const TSyncObj&) = delete;

  // Runs the action inside the context, on this thread. If `wait` is false, only if the context is free at
  // once. Returns false if the action was not run: the context was aborted or busy, or AbortSync was called.
  bool WaitSync(bool wait);

  // Makes a current or future waiting WaitSync fail. Thread-safe.
  void AbortSync() noexcept;

 protected:
  virtual void OnSync() = 0;

 private:
  bool Run(const TSyncScope& inside);

  Dstl::wise_ref<TSyncContext> context_;
  std::atomic<bool> cancelled_{false};
};

}  // namespace Dova
