#include "platform/runtime/TLoopPost.h"

#include <mutex>
#include <utility>

namespace {

constexpr unsigned kRetryMs = 1000;

}  // namespace

TLoopPost::TLoopPost(Dova::Os::TWindowRef window, unsigned code)
    : window_(std::move(window)), code_(code), retry_(Dova::ots_OneShot, *this) {}

bool TLoopPost::Post() noexcept {
  const std::lock_guard lock(mutex_);
  const Dova::Os::EPost answer = window_->Post(code_);
  if (answer == Dova::Os::EPost::Full) {
    retry_.Start(&TLoopPost::PostAgain, kRetryMs);
  } else {
    retry_.Stop();
  }
  return answer != Dova::Os::EPost::Gone;
}
