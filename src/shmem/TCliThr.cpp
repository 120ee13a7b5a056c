#include "shmem/TCliThr.h"

#include <thread>
#include <utility>

#include "platform/os/Clock.h"

namespace Dova {
namespace {

// A full ring is retried at once, because the reader may just be freeing space. If it stays full, the reader
// is slow or dead: from then on it is retried when space is announced, and every millisecond.
constexpr unsigned kBusyRetries = 50;
constexpr int kSlowRetryMs = 1;

// How often a thread that does not end is woken again: another process sharing the events could have consumed
// a wake-up.
constexpr int kWakeAgainMs = 20;

// This much in one event is a stream, not an answer. The thread then yields to the writer before it sleeps:
// woken for each message, the two would mostly alternate.
constexpr std::size_t kBulkBytes = 4096;

constexpr unsigned kMissingEventMs = 100;

constexpr int kLooksAtOnce = 64;  // between two checks of the clock and the events

}  // namespace

bool TShMemCli::TCliThr::Start() {
  return wait_ && thread_.Start("vek-shmem", [this, owner = Dstl::wise_ref<TShMemCli>(&owner_)] { Run(); });
}

// Does not wait for the thread if it is inside an event: the caller is then inside that event too, on this
// thread or on one the event was passed to.
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

// Each pass handles both data and space, so that a peer that keeps sending does not block the queue.
void TShMemCli::TCliThr::Pass() {
  const unsigned news = WaitForRings();
  if (!owner_.IsOver() && (more_ || (news & Os::TNamedEventWait::kFirst) != 0)) HandOver(pk_Data);
  if (!owner_.IsOver() && (retries_ != 0 || (news & Os::TNamedEventWait::kSecond) != 0)) OnSpace();
}

unsigned TShMemCli::TCliThr::WaitForRings() {
  if (more_) return WaitFor(0);  // reads available data before yielding
  if (std::exchange(bulk_, false) || retries_ != 0) std::this_thread::yield();
  if (retries_ != 0) return WaitFor(retries_ > kBusyRetries ? kSlowRetryMs : 0);
  const unsigned polled = owner_.spinUs_ != 0 ? Poll() : 0;
  return polled != 0 ? polled : WaitFor(Os::TNamedEventWait::kForever);
}

// While nothing is queued, freed space is no reason to wake up.
unsigned TShMemCli::TCliThr::WaitFor(int timeoutMs) {
  const unsigned news = wait_.Wait(owner_.receiveChannel_.ReadEvent(), owner_.sendChannel_.WriteEvent(),
                                   timeoutMs, retries_ == 0);
  if (news == Os::TNamedEventWait::kCannot) Os::SleepMs(kMissingEventMs);
  return news;
}

// Returns events that occur within the poll time of the setting, or 0. Checks the ring itself, so the writer
// need not have signalled yet.
unsigned TShMemCli::TCliThr::Poll() {
  const Os::TTime until = Os::TClock::now() + std::chrono::microseconds(owner_.spinUs_);
  do {
    bool there = false;
    for (int i = 0; i < kLooksAtOnce && !there; ++i) there = owner_.receiveChannel_.Ring().HasNews();
    const unsigned news = WaitFor(0);
    if (there || news != 0) return news | (there ? Os::TNamedEventWait::kFirst : 0);
  } while (Os::TClock::now() < until);
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
    retries_ = 1;  // more was queued while this thread waited to enter
  }
}

}  // namespace Dova
