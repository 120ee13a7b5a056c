#include "platform/transport/TFarewells.h"

#include <algorithm>
#include <mutex>
#include <new>
#include <vector>

#include "platform/os/Clock.h"
#include "platform/os/Event.h"
#include "platform/os/Mutex.h"
#include "platform/os/Thread.h"
#include "platform/runtime/PerProcess.h"

namespace Dova {
namespace {

struct TFarewell {
  std::weak_ptr<Os::TSocket> socket;
  Os::TTime due;
};

struct TList {
  Os::TMutex mutex;
  Os::TEvent changed;
  std::vector<TFarewell> farewells;  // earliest first
  bool watched = false;              // the thread exists
};

// Removes sockets that are gone or overdue.
void CutDue(TList& list, const std::unique_lock<Os::TMutex>&) {
  const Os::TTime now = Os::TClock::now();
  std::erase_if(list.farewells, [&](const TFarewell& each) {
    const auto socket = each.socket.lock();
    if (socket && each.due <= now) socket->Reset();
    return !socket || each.due <= now;
  });
}

void Watch(TList& list) noexcept {
  std::unique_lock lock(list.mutex);
  for (CutDue(list, lock); !list.farewells.empty(); CutDue(list, lock)) {
    const Os::TTime due = list.farewells.front().due;
    lock.unlock();
    list.changed.Wait(Os::MsUntil(due));
    lock.lock();
  }
  list.watched = false;
}

bool Add(const std::shared_ptr<Os::TSocket>& socket) {
  TList& list = PerProcess<TList>();
  std::unique_lock lock(list.mutex);
  CutDue(list, lock);
  if (list.farewells.size() >= TFarewells::kMost) return false;
  list.farewells.reserve(TFarewells::kMost);
  if (!list.watched) list.watched = Os::TThread().Start("vek-farewell", [&list] { Watch(list); });
  if (!list.watched) return false;
  list.farewells.push_back({socket, Os::TClock::now() + std::chrono::milliseconds(TFarewells::kLongestMs)});
  return true;
}

}  // namespace

bool TFarewells::Begin(std::shared_ptr<Os::TSocket> socket) noexcept {
  bool watched = false;
  try {
    watched = Add(socket);
  } catch (const std::bad_alloc&) {  // NOLINT(bugprone-empty-catch): the same as no thread
  }
  if (!watched) {
    socket->Reset();
    return false;
  }
  socket->FinishSending();
  // The link thread may release the socket before this one does, and would then have called Look too early.
  socket.reset();
  Look();
  return true;
}

void TFarewells::Look() {
  TList& list = PerProcess<TList>();
  const std::lock_guard lock(list.mutex);
  list.changed.Set();
}

}  // namespace Dova
