#include "flat/TPendingEvRecs.h"

#include <algorithm>
#include <utility>

#include "platform/os/AnswerWatch.h"
#include "session/Texts.h"

namespace {

// How long a postponed result waits for its turn before it is sent again: the thread may be waiting for this
// session while answering only sent messages.
constexpr int kPatienceMs = 50;
// Afterwards, how long the thread gets for other work between two parts of the events.
constexpr int kPauseMs = 10;
// How often to check that there still is a window to deliver the events.
constexpr std::uint64_t kPushesPerLook = 256;

}  // namespace

TPendingEvRecs::TPendingEvRecs(Dova::Os::TWindowRef window, unsigned code)
    : window_(window),
      post_(std::move(window), code),
      view_(std::make_shared<TSessionView>(std::make_shared<VekApi::VekTaskResult>(), std::string())) {}

// ---- the raising thread ----

void TPendingEvRecs::Push(TPendingEv event) {
  std::list<TEventBatchRef> dropped;
  const TLock lock(mutex_);
  if (closed_) return;
  TEventBatch& batch = BatchFor(event.text.size(), lock);
  if (!viewPushed_) event.view = view_;
  const bool first = IsEmpty(lock);
  batch.Add(std::move(event));
  viewPushed_ = true;
  const bool gone = first ? !post_.Post() : pushed_ % kPushesPerLook == 0 && !window_->IsThere();
  ++pushed_;
  if (gone) CloseWith(dropped, lock);
}

TEventBatch& TPendingEvRecs::BatchFor(std::size_t textBytes, const TLock&) {
  if (batches_.empty() || !batches_.back()->HasRoom(textBytes)) {
    const bool fits = spare_ && spare_->HasRoom(textBytes);
    batches_.push_back(fits ? std::move(spare_) : std::make_shared<TEventBatch>(textBytes));
  }
  return *batches_.back();
}

void TPendingEvRecs::PushNoMemory(VekApi::EVekClientState state) noexcept {
  const TLock lock(mutex_);
  if (closed_) return;
  if (IsEmpty(lock)) post_.Post();
  noMemory_ = true;
  noMemoryBehind_ = pushed_;
  noMemoryState_ = state;
}

void TPendingEvRecs::SetView(TSessionViewRef view) {
  const TLock lock(mutex_);
  view_.swap(view);
  viewPushed_ = false;
}

TSessionViewRef TPendingEvRecs::View() {
  const TLock lock(mutex_);
  return view_;
}

// Dropped events are freed after the lock is released.
void TPendingEvRecs::Close() {
  std::list<TEventBatchRef> dropped;
  const TLock lock(mutex_);
  CloseWith(dropped, lock);
}

void TPendingEvRecs::CloseWith(std::list<TEventBatchRef>& dropped, const TLock&) {
  closed_ = true;
  noMemory_ = false;
  free_ = 0;
  batches_.swap(dropped);
  reading_.reset();
  spare_.reset();
  for (TLoan* loan = loans_; loan; loan = loan->next) loan->over = true;
}

bool TPendingEvRecs::Add(TLoan& loan) {
  const TLock lock(mutex_);
  if (closed_) return false;
  loan.behind = pushed_;
  loan.view = view_;
  loan.next = loans_;
  loans_ = &loan;
  return true;
}

void TPendingEvRecs::Remove(TLoan& loan) {
  const TLock lock(mutex_);
  TLoan** at = &loans_;
  while (*at != &loan) at = &(*at)->next;
  *at = loan.next;
  // The message for the events after it may already have been consumed.
  if (!IsEmpty(lock)) post_.Post();
}

bool TPendingEvRecs::WasPutOff(TLoan& loan) {
  const TLock lock(mutex_);
  return std::exchange(loan.answered, false) && !loan.over;
}

void TPendingEvRecs::WaitForTurn(const TLoan& loan) {
  handedOut_.Wait(loan.patience > 0 ? kPatienceMs : kPauseMs);
}

// ---- the window's thread ----

// Takes the lock once per batch. What is pushed later does not concern the events of the batch: a result,
// too, follows what was queued before it.
bool TPendingEvRecs::Pop(TPendingEv& event, TEventBatchRef& batch) {
  if (!batch || batch->IsRead() || popped_ >= free_) {
    batch.reset();
    const TLock lock(mutex_);
    if (!MayPop(lock)) return false;
    if (noMemory_ && noMemoryBehind_ == popped_) return PopNoMemory(event, lock);
    if (!NextBatch(lock)) return false;
    batch = reading_;
  }
  event = batch->Read();
  ++popped_;
  return true;
}

// False if a result comes first.
bool TPendingEvRecs::MayPop(const TLock&) {
  std::uint64_t until = noMemory_ ? noMemoryBehind_ : pushed_;
  for (TLoan* loan = loans_; loan; loan = loan->next) {
    if (loan->over) continue;
    if (loan->behind == popped_) {
      handedOut_.Set();
      return false;
    }
    until = std::min(until, loan->behind);
  }
  free_ = until;
  return true;
}

bool TPendingEvRecs::NextBatch(const TLock&) {
  if (reading_ && !reading_->IsRead()) return true;
  // Others hold a batch while a callback of theirs reads a text in it.
  if (reading_ && reading_.use_count() == 1 && reading_->IsUsual()) {
    reading_->Clear();
    spare_ = std::move(reading_);
  }
  reading_.reset();
  if (batches_.empty()) return false;
  reading_ = std::move(batches_.front());
  batches_.pop_front();
  return true;
}

bool TPendingEvRecs::PopNoMemory(TPendingEv& event, const TLock&) {
  noMemory_ = false;
  event = {pev_Connect, -1, VekApi::kTextNoMemory, noMemoryState_};
  return true;
}

void TPendingEvRecs::PostAgain() {
  const TLock lock(mutex_);
  if (!IsEmpty(lock)) post_.Post();
}

TLoan* TPendingEvRecs::Answer(const Dova::Os::TMessage& message) {
  const TLock lock(mutex_);
  for (TLoan* loan = loans_; loan; loan = loan->next) {
    if (loan->over || loan->answered || loan->message != message) continue;
    loan->answered = true;
    return loan;
  }
  return nullptr;
}

bool TPendingEvRecs::PutOff(TLoan& loan) {
  const TLock lock(mutex_);
  if (popped_ == loan.behind || loan.patience <= 0) return false;
  if (std::exchange(loan.seen, popped_) != popped_) {
    loan.patience = kPatience;
  } else {
    // While this thread waits inside the library, only sent messages arrive until the wait ends.
    loan.patience -= Dova::Os::TAnswerScope::IsAnswering() ? kPatience : 1;
  }
  return loan.patience > 0;
}

void TPendingEvRecs::SetOver(TLoan& loan) {
  const TLock lock(mutex_);
  loan.over = true;
}
