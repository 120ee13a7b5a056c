#include "platform/os/MessageWindow.h"

#include <utility>

#include "platform/os/MessagePump.h"
#include "platform/os/posix/ThreadQueue.h"

namespace Dova::Os {

TMessageWindow::TMessageWindow(std::unique_ptr<TNative> native) : native_(std::move(native)) {}
TMessageWindow::~TMessageWindow() = default;

EPost TMessageWindow::Post(unsigned code) noexcept {
  return native_->queue->Post(*native_, code);
}

bool TMessageWindow::PostLast(unsigned code) noexcept {
  return native_->queue->PostLast(*native_, code);
}

void TMessageWindow::Send(const TMessage& message) {
  native_->queue->Send(*native_, message);
}

bool TMessageWindow::IsThere() const noexcept {
  return native_->queue->IsThere(*native_);
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

void DeallocateHWnd(TWindowRef window) {
  TMessageWindow::TNative& native = window->Native();
  native.queue->Deallocate(native);
}

int DispatchMessages(int timeoutMs) {
  const auto queue = TThreadQueue::Obtain();
  return queue ? queue->Dispatch(timeoutMs) : -1;
}

int MessagesDescriptor() noexcept {
  const auto queue = TThreadQueue::Obtain();
  return queue ? queue->Descriptor() : -1;
}

}  // namespace Dova::Os
