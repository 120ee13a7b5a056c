#include "platform/os/MessageLoop.h"

#include "platform/os/Event.h"

namespace Dova::Os {

struct TMessageLoop::TNative {
  TEvent quit;
};

TMessageLoop::TMessageLoop() : native_(std::make_unique<TNative>()) {}
TMessageLoop::~TMessageLoop() = default;

void TMessageLoop::Run() {
  native_->quit.Wait();
}
void TMessageLoop::Quit() noexcept {
  native_->quit.Set();
}

}  // namespace Dova::Os
