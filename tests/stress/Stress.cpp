#include "stress/Stress.h"

#include <gtest/gtest.h>

#include <thread>
#include <utility>

namespace Stress {
namespace {

constexpr int kMaxDepth = 3;  // of events inside calls inside events

// A request that may go over this link or the next.
const std::string kAnyLink = "any";

std::atomic<unsigned> seed{0};

}  // namespace

void SeedRandom(unsigned first) {
  seed = first;
}

unsigned Random(unsigned bound) {
  thread_local TRandom random(seed.fetch_add(1) * 2654435761U + 1);
  return static_cast<unsigned>(random()) % bound;
}

// ---- events ----

// A running event. Those further down this thread's stack wait for it.
class TWatched::TInside {
 public:
  explicit TInside(TWatched& watched) : watched_(watched), below_(std::exchange(top_, this)) {
    watched_.slots_.running.fetch_add(1, std::memory_order_relaxed);
    EXPECT_EQ(watched_.active_.fetch_add(1), 0) << "events overlap";
    EXPECT_FALSE(watched_.closed_) << "an event of a link that is closed";
    watched_.slots_.events.fetch_add(1, std::memory_order_relaxed);
    ++depth_;
    if (depth_ <= kMaxDepth && Random(3) == 0) watched_.slots_.Act();
  }
  ~TInside() {
    --depth_;
    top_ = below_;
    watched_.active_.fetch_sub(1);
    watched_.slots_.running.fetch_sub(1, std::memory_order_release);
  }
  TInside(const TInside&) = delete;
  TInside& operator=(const TInside&) = delete;

 private:
  friend class TOutside;
  TWatched& watched_;
  TInside* const below_;
  static inline thread_local TInside* top_ = nullptr;
  static inline thread_local int depth_ = 0;
};

// A call into the library: the event that makes it does not count as running meanwhile.
class TWatched::TOutside {
 public:
  TOutside() {
    if (event_) event_->watched_.active_.fetch_sub(1);
  }
  ~TOutside() {
    if (!event_) return;
    EXPECT_EQ(event_->watched_.active_.fetch_add(1), 0) << "an event runs beside a waking one";
  }
  TOutside(const TOutside&) = delete;
  TOutside& operator=(const TOutside&) = delete;

 private:
  TInside* const event_ = TInside::top_;
};

void TWatched::OnVekConnectEvent(VekApi::VekClient& client, const std::string&) {
  EXPECT_NE(client.State(), VekApi::vcs_ApReady);
  EXPECT_NE(client.State(), VekApi::vcs_Connecting);
  const TInside inside(*this);
}
void TWatched::OnVekApReadyEvent(VekApi::VekClient& client) {
  EXPECT_EQ(client.State(), VekApi::vcs_ApReady);
  const TInside inside(*this);
}
void TWatched::OnVekTaskResultEvent(VekApi::VekClient& client, const VekApi::VekTaskResult& result) {
  if (result.WorkID() != kAnyLink) {
    EXPECT_GE(std::stoi(result.WorkID()), connected_) << "of a link before";
  }
  // A server that was late, or silent, may continue.
  const VekApi::EVekClientState state = client.State();
  EXPECT_TRUE(client.IsSessionConnected() || state == VekApi::vcs_HeartbeatTimeout ||
              state == VekApi::vcs_UnknownServer)
      << "in state " << state;
  const TInside inside(*this);
}
void TWatched::OnVekChgPassResultEvent(VekApi::VekClient&, const std::string&, const std::string&) {
  const TInside inside(*this);
}
void TWatched::OnVekRequestAckEvent(VekApi::VekClient&, int, const std::string&) {
  const TInside inside(*this);
}
void TWatched::OnVekReportEvent(VekApi::VekClient&, const std::string&) {
  const TInside inside(*this);
}
void TWatched::OnVekClientDestroyEvent(VekApi::VekClient&) {}

// ---- calls ----

void TWatched::Connect(const std::string& setting) {
  const TOutside outside;
  closed_ = false;
  ++links_;
  client_->Connect(setting, "Stress", "1.2.3.4", "trader", "9800001", "secret");
  connected_ = links_.load();
}

void TWatched::Disconnect() {
  const TOutside outside;
  closed_ = false;
  client_->Disconnect();
  closed_ = true;
  EXPECT_EQ(active_, 0) << "an event runs after Disconnect";
}

void TWatched::Delete() {
  const TOutside outside;
  client_.reset();
  closed_ = true;
  EXPECT_EQ(active_, 0) << "an event runs after the deletion";
}

void TWatched::Send(bool alone) {
  const TOutside outside;
  std::string request =
      "....." + (alone ? std::to_string(links_) : kAnyLink) + " ticks\nrows=" + std::to_string(Random(200));
  client_->SendVekRequest(128, request.data(), static_cast<unsigned>(request.size()));
}

// A password that is too long is rejected by the client itself.
void TWatched::ChgPass() {
  const TOutside outside;
  const std::string next = Random(2) == 0 ? "secret" : std::string(5000, 'x');
  client_->ChgPass("trader", "secret", next);
}

void TWatched::TryInherited(const std::string& setting) {
  std::string request = ".....x";
  EXPECT_FALSE(client_->SendVekRequest(129, request.data(), 6));
  EXPECT_FALSE(client_->ChgPass("trader", "secret", "secret"));
  client_->Connect(setting, "Stress", "1.2.3.4", "trader", "9800001", "secret");
  client_->Disconnect();
  client_.reset();
}

// ---- slots ----

TSlots::TSlots(std::vector<std::string> which) : settings(std::move(which)), slots_(settings.size()) {
  for (TSlot& slot : slots_) slot.watched = Make();
}

TSlots::~TSlots() {
  for (TSlot& slot : slots_) {
    while (!TakeAlone(slot)) std::this_thread::yield();
    slot.watched->Delete();
  }
  // Events that deleted their clients are still on the stacks of the links' threads.
  while (running != 0) std::this_thread::yield();
}

TWatched* TSlots::Make() {
  auto made = std::make_unique<TWatched>(*this);
  const std::lock_guard lock(mutex_);
  return all_.emplace_back(std::move(made)).get();
}

bool TSlots::Share(TSlot& slot) {
  int users = slot.users;
  while (users >= 0 && !slot.users.compare_exchange_weak(users, users + 1)) continue;
  return users >= 0;
}

bool TSlots::TakeAlone(TSlot& slot) {
  int nobody = 0;
  return slot.users.compare_exchange_strong(nobody, -1);
}

void TSlots::Act() {
  TSlot& slot = slots_[Random(static_cast<unsigned>(slots_.size()))];
  acts.fetch_add(1, std::memory_order_relaxed);
  if (Random(8) == 0) return Replace(slot);
  if (!Share(slot)) return;
  const bool alone = !slot.connecting.exchange(true);
  if (Random(6) == 0) {
    slot.watched->ChgPass();
  } else if (!alone || Random(2) == 0) {
    slot.watched->Send(alone);
  } else {
    Change(slot);
  }
  if (alone) slot.connecting = false;
  slot.users.fetch_sub(1);
}

void TSlots::Change(TSlot& slot) {
  if (Random(3) == 0) {
    slot.watched->Disconnect();
  } else {
    slot.watched->Connect(settings[static_cast<std::size_t>(&slot - slots_.data())]);
  }
}

void TSlots::Replace(TSlot& slot) {
  if (!TakeAlone(slot)) return;
  slot.watched->Delete();
  slot.watched = Make();
  slot.users = 0;
}

std::vector<TWatched*> TSlots::Hold() {
  std::vector<TWatched*> held(slots_.size());
  for (std::size_t i = 0; i < held.size(); ++i) {
    if (!Share(slots_[i])) continue;
    if (slots_[i].connecting.exchange(true)) {
      slots_[i].users.fetch_sub(1);
    } else {
      held[i] = slots_[i].watched;
    }
  }
  return held;
}

void TSlots::LetGo(const std::vector<TWatched*>& held) {
  for (std::size_t i = 0; i < held.size(); ++i) {
    if (!held[i]) continue;
    slots_[i].connecting = false;
    slots_[i].users.fetch_sub(1);
  }
}

}  // namespace Stress
