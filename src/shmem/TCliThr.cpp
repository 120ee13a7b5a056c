#include "shmem/TCliThr.h"

#include <thread>
#include <utility>

#include "platform/os/Clock.h"

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

constexpr int kLooksAtOnce = 64;  // between two looks at the clock and the events

}  // namespace

bool TShMemCli::TCliThr::Start() {
  return wait_ && thread_.Start("vek-shmem", [this, owner = Dstl::wise_ref<TShMemCli>(&owner_)] { Run(); });
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
  while (!owner_.IsOver()) Pass();
}

// Both kinds of news are served in each pass, or a peer that keeps sending would keep the queue from moving.
void TShMemCli::TCliThr::Pass() {
  const unsigned news = WaitForRings();
  if (!owner_.IsOver() && (more_ || (news & Os::TNamedEventWait::kFirst) != 0)) HandOver(pk_Data);
  if (!owner_.IsOver() && (retries_ != 0 || (news & Os::TNamedEventWait::kSecond) != 0)) OnSpace();
}

unsigned TShMemCli::TCliThr::WaitForRings() {
  if (more_) return WaitFor(0);  // what is there is read before anyone is let run on
  if (std::exchange(bulk_, false) || retries_ != 0) std::this_thread::yield();
  if (retries_ != 0) return WaitFor(retries_ > kBusyRetries ? kSlowRetryMs : 0);
  const unsigned polled = owner_.spinUs_ != 0 ? Poll() : 0;
  return polled != 0 ? polled : WaitFor(Os::TNamedEventWait::kForever);
}

// While nothing is queued, room is no news to wake up for.
unsigned TShMemCli::TCliThr::WaitFor(int timeoutMs) {
  const unsigned news = wait_.Wait(owner_.receiveChannel_.ReadEvent(), owner_.sendChannel_.WriteEvent(),
                                   timeoutMs, retries_ == 0);
  if (news == Os::TNamedEventWait::kCannot) Os::SleepMs(kMissingEventMs);
  return news;
}

// News that come within the time that the setting gives; 0: none did. The ring is looked at itself, so its
// writer is not waited for to tell.
unsigned TShMemCli::TCliThr::Poll() {
  const std::int64_t until = Os::MonotonicNs() + std::int64_t{owner_.spinUs_} * 1000;
  do {
    bool there = false;
    for (int i = 0; i < kLooksAtOnce && !there; ++i) there = owner_.receiveChannel_.Ring().HasNews();
    const unsigned news = WaitFor(0);
    if (there || news != 0) return news | (there ? Os::TNamedEventWait::kFirst : 0);
  } while (Os::MonotonicNs() < until);
  return 0;
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
  owner_.Guarded([this] { Tell(); });
  inSync_ = false;
}

void TShMemCli::TCliThr::Tell() {
  if (pending_ == pk_Data) {
    more_ = owner_.OnBytes();
    bulk_ = owner_.received_ >= kBulkBytes;
  } else if (owner_.MoveOverflow()) {
    owner_.OnRoom();
  } else {
    retries_ = 1;  // more was queued while this thread waited to come in
  }
}

}  // namespace Dova
