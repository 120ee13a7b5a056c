#include "shmem/TCliThr.h"

#include <thread>
#include <utility>

namespace Dova {
namespace {

// A full ring is tried again at once, as the reader may just be making room. One that stays full belongs to a
// reader that is slow or dead: from then on it is tried when room is announced, and every millisecond.
constexpr unsigned kBusyRetries = 50;
constexpr int kSlowRetryMs = 1;

// How often a thread that does not end is woken again: whoever shares the events could have taken a wake-up
// away.
constexpr int kWakeAgainMs = 20;

// So much in one go is a stream and no answer. Its writer is let run on before this thread sleeps: woken for
// each message, the two would do little but take turns.
constexpr std::size_t kBulkBytes = 4096;

constexpr unsigned kMissingEventMs = 100;

}  // namespace

bool TShMemCli::TCliThr::Start() {
  return thread_.Start("vek-shmem", [this, owner = Dstl::wise_ref<TShMemCli>(&owner_)] { Run(); });
}

// Not waited for while it is in an event: whoever calls is then inside that event, on this thread or on one
// that the event was handed to.
void TShMemCli::TCliThr::Stop() {
  AbortSync();
  do {
    wait_.Stop(owner_.receiveChannel_.ReadEvent(), owner_.sendChannel_.WriteEvent());
  } while (!inSync_ && !thread_.Join(kWakeAgainMs));
}

void TShMemCli::TCliThr::OnQueued() {
  wait_.Nudge(owner_.sendChannel_.WriteEvent());
}

void TShMemCli::TCliThr::Run() {
  while (owner_.IsRunning()) Pass();
  owner_.threadState_.store(ts_Ended, std::memory_order_release);
}

// Both kinds of news are served in each pass, or a peer that keeps sending would keep the queue from moving.
void TShMemCli::TCliThr::Pass() {
  const unsigned news = WaitForRings();
  if (owner_.IsRunning() && (news & Os::TNamedEventWait::kFirst) != 0) HandOver(pk_Data);
  if (owner_.IsRunning() && ((news & Os::TNamedEventWait::kSecond) != 0 || retries_ != 0)) OnSpace();
}

unsigned TShMemCli::TCliThr::WaitForRings() {
  int timeoutMs = Os::TNamedEventWait::kForever;
  if (std::exchange(bulk_, false) || retries_ != 0) std::this_thread::yield();
  if (retries_ != 0) {
    timeoutMs = retries_ > kBusyRetries ? kSlowRetryMs : 0;
  }
  // While nothing is queued, room is no news to wake up for.
  const unsigned news = wait_.Wait(owner_.receiveChannel_.ReadEvent(), owner_.sendChannel_.WriteEvent(),
                                   timeoutMs, retries_ == 0);
  if (news == Os::TNamedEventWait::kCannot) Os::SleepMs(kMissingEventMs);
  return news;
}

void TShMemCli::TCliThr::OnSpace() {
  if (owner_.MoveOverflow()) {
    retries_ = 0;
    HandOver(pk_Space);
  } else {
    ++retries_;
  }
}

void TShMemCli::TCliThr::HandOver(EPending pending) {
  pending_ = pending;
  WaitSync(true);
}

void TShMemCli::TCliThr::OnSync() {
  inSync_ = true;
  Tell();
  inSync_ = false;
}

void TShMemCli::TCliThr::Tell() {
  if (!owner_.IsRunning() || owner_.CloseWhenBroken()) return;
  if (pending_ == pk_Data) {
    owner_.RaiseInside([this](TMesEvHandler& handler) { handler.OnMesRecvReady(&owner_); });
    bulk_ = std::exchange(owner_.received_, 0) >= kBulkBytes;
  } else if (owner_.MoveOverflow()) {
    owner_.RaiseInside([this](TMesEvHandler& handler) { handler.OnMesSendEmpty(&owner_); });
  } else {
    retries_ = 1;  // more was queued while this thread waited to come in
  }
  owner_.CloseWhenBroken();
}

}  // namespace Dova
