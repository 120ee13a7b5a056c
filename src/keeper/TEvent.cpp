#include "keeper/TEvent.h"

#include <utility>

namespace VekApi {
namespace {

constexpr std::size_t kKeepBytes = 4096;  // a larger text buffer is freed

}  // namespace

TEventQueue::~TEventQueue() {
  while (TEvent* const event = Pop()) {
    if (!event->isRequest) Free(static_cast<TNews&>(*event));
  }
  while (spare_) delete std::exchange(spare_, NextSpare(*spare_));
}

TNews& TEventQueue::New() {
  return spares_ > reserved_ ? NewReserved() : *new TNews;
}

TNews& TEventQueue::NewReserved() {
  if (!spare_) return *new TNews;
  --spares_;
  TNews& event = *std::exchange(spare_, NextSpare(*spare_));
  event.nextQueued = nullptr;
  return event;
}

void TEventQueue::Reserve(unsigned count) {
  while (spares_ < count) Free(*new TNews);
  reserved_ = count;
}

void TEventQueue::Push(TEvent& event) {
  event.nextQueued = nullptr;
  event.queued = true;
  (last_ ? last_->nextQueued : first_) = &event;
  last_ = &event;
  ++size_;
}

TEvent* TEventQueue::Pop() {
  TEvent* const event = first_;
  if (!event) return nullptr;
  first_ = event->nextQueued;
  if (!first_) last_ = nullptr;
  --size_;
  return event;
}

void TEventQueue::Free(TNews& event) {
  if (spares_ >= kKeep) {
    delete &event;
    return;
  }
  std::string text = std::move(event.text);
  std::string detail = std::move(event.detail);
  event = TNews();
  text.clear();
  detail.clear();
  if (text.capacity() <= kKeepBytes) event.text.swap(text);
  if (detail.capacity() <= kKeepBytes) event.detail.swap(detail);
  event.nextQueued = spare_;
  spare_ = &event;
  ++spares_;
}

}  // namespace VekApi
