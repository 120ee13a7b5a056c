#include "flat/TPendingEvRecs.h"

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

void TPendingEvRecs::Push(TPendingEvRec rec) {
  std::deque<TPendingEvRec> dropped;
  const TLock lock(mutex_);
  if (closed_) return;
  if (!viewPushed_) rec.view = view_;
  const bool first = IsEmpty(lock);
  recs_.push_back(std::move(rec));
  viewPushed_ = true;
  const bool gone = first ? !post_.Post() : ++pushes_ % kPushesPerLook == 0 && !window_->IsThere();
  if (gone) CloseWith(dropped, lock);
}

void TPendingEvRecs::PushNoMemory(VekApi::EVekClientState state) noexcept {
  const TLock lock(mutex_);
  if (closed_) return;
  if (IsEmpty(lock)) post_.Post();
  noMemory_ = true;
  noMemoryBehind_ = popped_ + recs_.size();
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
  std::deque<TPendingEvRec> dropped;
  const TLock lock(mutex_);
  CloseWith(dropped, lock);
}

void TPendingEvRecs::CloseWith(std::deque<TPendingEvRec>& dropped, const TLock&) {
  closed_ = true;
  noMemory_ = false;
  recs_.swap(dropped);
  for (TLoan* loan = loans_; loan; loan = loan->next) loan->over = true;
}

bool TPendingEvRecs::Add(TLoan& loan) {
  const TLock lock(mutex_);
  if (closed_) return false;
  loan.behind = popped_ + recs_.size();
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

bool TPendingEvRecs::Pop(TPendingEvRec& rec) {
  const TLock lock(mutex_);
  for (TLoan* loan = loans_; loan; loan = loan->next) {
    if (loan->over || loan->behind != popped_) continue;
    handedOut_.Set();
    return false;
  }
  if (noMemory_ && noMemoryBehind_ == popped_) return PopNoMemory(rec, lock);
  if (recs_.empty()) return false;
  rec = std::move(recs_.front());
  recs_.pop_front();
  ++popped_;
  return true;
}

bool TPendingEvRecs::PopNoMemory(TPendingEvRec& rec, const TLock&) {
  noMemory_ = false;
  rec = {pev_Connect, -1, VekApi::kTextNoMemory, noMemoryState_};
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
