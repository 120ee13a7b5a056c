// The library's message windows, played by the scheduler: each thread with windows has a queue.
#include "simulation/MessageWindows.h"

#include <algorithm>
#include <deque>
#include <memory>
#include <utility>

#include "platform/os/AnswerWatch.h"
#include "platform/os/Event.h"
#include "platform/os/MessagePump.h"
#include "platform/os/MessageWindow.h"
#include "simulation/Scheduler.h"

namespace vektest {

struct MessageQueue {
  using Native = Dova::Os::TMessageWindow::TNative;
  struct Posted {
    Native* window;
    unsigned code;
    bool operator==(const Posted&) const = default;
  };
  struct Sent {
    Native* window;
    Dova::Os::TMessage message;
    bool deallocate;
    bool handled = false;
    Dova::Os::TEvent done{};
  };
  static constexpr std::size_t kMostPosted = 10'000;

  static MessageQueue* OfThisThread() {
    Scheduler* const scheduler = Scheduler::Current();
    return scheduler && scheduler->OnTask() ? scheduler->Self().messages.get() : nullptr;
  }

  void Announce() {
    if (owner->listens) Scheduler::Interrupt(*owner);
  }
  bool SendAndWait(Sent& message);
  void Close(Native& window);
  void Drop(const Native* window);
  bool RunSent();
  bool RunPosted(std::deque<Posted>& from);
  int Dispatch(int timeoutMs);

  Task* owner;
  bool ended = false;
  std::deque<Sent*> sent{};
  std::deque<Posted> posted{}, last{};
};

}  // namespace vektest

namespace Dova::Os {

using vektest::InLibrary;
using vektest::MessageQueue;
using vektest::OutOfLibrary;
using vektest::Scheduler;

struct TMessageWindow::TNative {
  std::shared_ptr<MessageQueue> queue;
  TMessageHandler* handler;  // null once deallocated
};

}  // namespace Dova::Os

namespace vektest {

bool MessageQueue::SendAndWait(Sent& message) {
  if (ended || !message.window->handler) return false;
  sent.push_back(&message);
  Announce();
  message.done.Wait();
  return message.handled;
}

void MessageQueue::Close(Native& window) {
  window.handler = nullptr;
  Drop(&window);
}

void MessageQueue::Drop(const Native* window) {
  const OutOfLibrary system;
  const auto dropped = [=](const Native* of) { return !window || of == window; };
  for (auto* const each : {&posted, &last})
    std::erase_if(*each, [&](const Posted& message) { return dropped(message.window); });
  for (Sent* const each : std::exchange(sent, {})) {
    if (dropped(each->window)) {
      each->done.Set();
    } else {
      sent.push_back(each);
    }
  }
}

bool MessageQueue::RunSent() {
  if (sent.empty()) return false;
  Sent& message = *sent.front();
  sent.pop_front();
  auto* const handler = message.window->handler;
  message.handled = true;
  {
    const InLibrary library;
    if (message.deallocate) {
      Close(*message.window);
      handler->OnWindowGone();
    } else {
      handler->OnMessage(message.message);
    }
  }
  message.done.Set();
  return true;
}

bool MessageQueue::RunPosted(std::deque<Posted>& from) {
  if (from.empty()) return false;
  const Posted message = from.front();
  from.pop_front();
  const InLibrary library;
  message.window->handler->OnMessage({message.code});
  return true;
}

int MessageQueue::Dispatch(int timeoutMs) {
  Scheduler& scheduler = *Scheduler::Current();
  const Ns due = timeoutMs < 0 ? kNever : scheduler.Now() + timeoutMs * kMs;
  scheduler.Point();
  while (sent.empty() && posted.empty() && last.empty() && scheduler.Now() < due) scheduler.Listen(due);
  const auto most = std::min<std::size_t>(sent.size() + posted.size(), Dova::Os::kMessagesAtOnce);
  std::size_t count = 0, left = last.size();
  while (count < most && (RunSent() || RunPosted(posted))) ++count;
  for (; left != 0 && RunPosted(last); --left) ++count;
  return static_cast<int>(count);
}

bool AnswerSent() {
  MessageQueue* const queue = MessageQueue::OfThisThread();
  if (!queue || queue->sent.empty()) return false;
  const Dova::Os::TAnswerScope answering;
  return queue->RunSent();
}

namespace {

std::shared_ptr<MessageQueue> Obtain() {
  Task& self = Scheduler::Current()->Self();
  if (self.messages) return self.messages;
  self.messages = std::make_shared<MessageQueue>(&self);
  self.atEnd = [queue = self.messages] {
    queue->ended = true;
    queue->Drop(nullptr);
  };
  return self.messages;
}

}  // namespace
}  // namespace vektest

namespace Dova::Os {

TMessageWindow::TMessageWindow(std::unique_ptr<TNative> native) : native_(std::move(native)) {}
TMessageWindow::~TMessageWindow() = default;

EPost TMessageWindow::Post(unsigned code) noexcept {
  const OutOfLibrary system;
  MessageQueue& queue = *native_->queue;
  if (queue.ended || !native_->handler) return EPost::Gone;
  if (queue.posted.size() >= MessageQueue::kMostPosted || Scheduler::Current()->RefusesPost())
    return EPost::Full;
  queue.posted.push_back({native_.get(), code});
  queue.Announce();
  return EPost::Posted;
}

bool TMessageWindow::PostLast(unsigned code) noexcept {
  const OutOfLibrary system;
  if (Scheduler::Current()->RefusesPost()) return false;
  std::deque<MessageQueue::Posted>& last = native_->queue->last;
  const MessageQueue::Posted message{native_.get(), code};
  if (std::find(last.begin(), last.end(), message) == last.end()) last.push_back(message);
  return true;
}

void TMessageWindow::Send(const TMessage& message) {
  const OutOfLibrary system;
  MessageQueue& queue = *native_->queue;
  if (queue.owner == &Scheduler::Current()->Self() && !queue.ended) {
    const InLibrary library;
    if (native_->handler) native_->handler->OnMessage(message);
    return;
  }
  MessageQueue::Sent sent{native_.get(), message, false};
  queue.SendAndWait(sent);
}

bool TMessageWindow::IsThere() const noexcept {
  return !native_->queue->ended && native_->handler;
}

TWindowRef AllocateHWnd_Impl(TMessageHandler& handler) noexcept {
  const OutOfLibrary system;
  if (Scheduler::Current()->RefusesPost()) return nullptr;
  return std::make_shared<TMessageWindow>(
      std::make_unique<TMessageWindow::TNative>(TMessageWindow::TNative{vektest::Obtain(), &handler}));
}

void DeallocateHWnd(TWindowRef window) {
  const OutOfLibrary system;
  TMessageWindow::TNative& native = window->Native();
  const auto queue = native.queue;
  TMessageHandler* const handler = native.handler;
  if (queue->owner != &Scheduler::Current()->Self() || queue->ended) {
    MessageQueue::Sent sent{&native, {}, true};
    if (queue->SendAndWait(sent)) return;
  }
  queue->Close(native);
  const InLibrary library;
  handler->OnWindowGone();
}

int DispatchMessages(int timeoutMs) {
  const OutOfLibrary system;
  return vektest::Obtain()->Dispatch(timeoutMs);
}

int MessagesDescriptor() noexcept {
  return -1;
}

}  // namespace Dova::Os
