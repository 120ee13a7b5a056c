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
// Batches kept for the next burst: at most so many, and no more than were in use at once while the queue ran
// empty so often.
constexpr std::size_t kMostSpares = 32;
constexpr int kRunsPerTrim = 64;

}  // namespace

TPendingEvRecs::TPendingEvRecs(Dova::Os::TWindowRef window, unsigned code)
    : window_(window),
      post_(std::move(window), code),
      view_(std::make_shared<TSessionView>(std::make_shared<VekApi::VekTaskResult>(), std::string())) {}

// ---- the raising thread ----

void TPendingEvRecs::Push(TPendingEv event) {
  TBatches dropped;
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
    if (!spares_.empty() && spares_.front()->HasRoom(textBytes)) {
      batches_.splice(batches_.end(), spares_, spares_.begin());
    } else {
      batches_.push_back(std::make_shared<TEventBatch>(textBytes));
    }
    mostBatches_ = std::max(mostBatches_, batches_.size());
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
  TBatches dropped;
  const TLock lock(mutex_);
  CloseWith(dropped, lock);
}

void TPendingEvRecs::CloseWith(TBatches& dropped, const TLock&) {
  closed_ = true;
  noMemory_ = false;
  free_ = 0;
  for (TBatches* const batches : {&batches_, &reading_, &spares_}) dropped.splice(dropped.end(), *batches);
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
    batch = reading_.front();
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

bool TPendingEvRecs::NextBatch(const TLock& lock) {
  if (!reading_.empty() && !reading_.front()->IsRead()) return true;
  Recycle(lock);
  if (batches_.empty()) {
    TrimSpares(lock);
    return false;
  }
  reading_.splice(reading_.end(), batches_, batches_.begin());
  return true;
}

// Others hold a batch while a callback of theirs reads a text in it.
void TPendingEvRecs::Recycle(const TLock&) {
  if (reading_.empty()) return;
  TEventBatchRef& read = reading_.front();
  if (read.use_count() == 1 && read->IsUsual() && spares_.size() < kMostSpares) {
    read->Clear();
    spares_.splice(spares_.begin(), reading_);
  }
  reading_.clear();
}

void TPendingEvRecs::TrimSpares(const TLock&) {
  if (++runs_ < kRunsPerTrim) return;
  runs_ = 0;
  const std::size_t kept = std::exchange(mostBatches_, 0) + 1;
  while (spares_.size() > kept) spares_.pop_back();
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
