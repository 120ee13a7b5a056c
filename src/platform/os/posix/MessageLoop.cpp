#include "platform/os/MessageLoop.h"

#include <atomic>

#include "platform/os/Event.h"

namespace Dova::Os {

struct TMessageLoop::TNative {
  TEvent changed;
  std::atomic<bool> quit{false};
};

TMessageLoop::TMessageLoop() : native_(std::make_unique<TNative>()) {}
TMessageLoop::~TMessageLoop() = default;

void TMessageLoop::Run(TChore chore) {
  while (!native_->quit) native_->changed.Wait(chore() ? static_cast<int>(kAgainMs) : TEvent::kForever);
}

void TMessageLoop::Wake() noexcept {
  native_->changed.Set();
}

void TMessageLoop::Quit() noexcept {
  native_->quit = true;
  native_->changed.Set();
}

}  // namespace Dova::Os
