#pragma once

#include <atomic>
#include <utility>

#include "platform/runtime/TSyncContext.h"

namespace Dova {

// An action that is carried out inside a synchronised context.
class TSyncObj {
 public:
  explicit TSyncObj(Dstl::wise_ref<TSyncContext> context) noexcept : context_(std::move(context)) {}
  virtual ~TSyncObj() = default;
  TSyncObj(const TSyncObj&) = delete;
  TSyncObj& operator=(const TSyncObj&) = delete;

  // Runs the action inside the context, on this thread. With `wait` false only when the context is free at
  // once. False when the action was not run: the context was aborted, AbortSync was called, or it was busy.
  bool WaitSync(bool wait);

  // A WaitSync that waits, now or later, gives up. From any thread.
  void AbortSync() noexcept;

 protected:
  virtual void OnSync() = 0;

 private:
  bool Run(const TSyncScope& inside);

  Dstl::wise_ref<TSyncContext> context_;
  std::atomic<bool> cancelled_{false};
};

}  // namespace Dova
