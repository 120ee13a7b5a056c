#include "platform/os/MessageWindow.h"

#include <utility>

#include "platform/os/MessagePump.h"
#include "platform/os/posix/ThreadQueue.h"

namespace Dova::Os {

TMessageWindow::TMessageWindow(std::unique_ptr<TNative> native) : native_(std::move(native)) {}
TMessageWindow::~TMessageWindow() = default;

bool TMessageWindow::Post(unsigned code) noexcept {
  return native_->queue->Post(*native_, code);
}

void TMessageWindow::Send(const TMessage& message) noexcept {
  native_->queue->Send(*native_, message);
}

TWindowRef AllocateHWnd_Impl(TMessageHandler& handler) noexcept {
  auto queue = TThreadQueue::Obtain();
  if (!queue) return nullptr;
  try {
    return std::make_shared<TMessageWindow>(
        std::make_unique<TMessageWindow::TNative>(TMessageWindow::TNative{std::move(queue), &handler}));
  } catch (...) {
    return nullptr;
  }
}

void DeallocateHWnd(TWindowRef window) noexcept {
  TMessageWindow::TNative& native = window->Native();
  native.queue->Deallocate(native);
}

int DispatchMessages(int timeoutMs) noexcept {
  const auto queue = TThreadQueue::Obtain();
  return queue ? queue->Dispatch(timeoutMs) : -1;
}

int MessagesDescriptor() noexcept {
  const auto queue = TThreadQueue::Obtain();
  return queue ? queue->Descriptor() : -1;
}

}  // namespace Dova::Os
