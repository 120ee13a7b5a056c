#include "faults/posix/Scenario.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <utility>

#include "faults/posix/Faults.h"

namespace Faults {
namespace {

// After this much silence the time is advanced past the deadlines. If that was too early, only a session is
// lost, and the next one gets more time, up to the longest.
constexpr std::chrono::milliseconds kQuiet(100);
constexpr std::chrono::milliseconds kLongestQuiet(1600);
constexpr int kMoreQuiet = 4;
constexpr unsigned kEveryDeadlineMs = 60'000;
// Long enough for everything even on a busy machine.
constexpr std::chrono::seconds kPatience(30);

bool IsDown(int state) {
  return state < 0 && state != cvcs_SgnError;
}

}  // namespace

TSession::TSession(TestSupport::TVirtualTimerQueue& time, std::string setting)
    : time_(time), setting_(std::move(setting)), quiet_(kQuiet) {}

TSession::~TSession() {
  InLibrary([this] { CVekFlowCtrlSender_Delete(&sender_); });
  InLibrary([this] { CVekClient_Delete(&client_); });
}

// ---- callbacks: any thread ----

template <class TCount>
void TSession::On(CVekClient* client, void* user, const TCount& count) {
  const TInTest inTest;
  TSession& self = *static_cast<TSession*>(user);
  const int state = CVekClient_State(client);
  const std::lock_guard lock(self.mutex_);
  self.told_.state = state;
  ++self.told_.events;
  count(self.told_);
  self.changed_.notify_all();
}

CVekClientCallbacks TSession::Callbacks() {
  CVekClientCallbacks table{};
  table.OnVekConnectEvent = [](CVekClient* client, void* user, const char*) {
    On(client, user, [](TTold& told) { ++told.states; });
  };
  table.OnVekApReadyEvent = [](CVekClient* client, void* user) {
    On(client, user, [](TTold& told) { ++told.states; });
    if (static_cast<TSession*>(user)->deleteWhenReady_) CVekClient_Delete(client);
  };
  table.OnVekTaskResultEvent = [](CVekClient* client, void* user, const CVekTaskResult* result) {
    ReadTables(result);
    On(client, user, [](TTold& told) { ++told.results; });
  };
  table.OnVekChgPassResultEvent = [](CVekClient* client, void* user, const char*, const char*) {
    On(client, user, [](TTold& told) { ++told.passes; });
  };
  table.OnVekRequestAckEvent = [](CVekClient* client, void* user, int code, const char* text) {
    CVekFlowCtrlSender_AckParser(&static_cast<TSession*>(user)->sender_, code, text);
    On(client, user, [](TTold& told) { ++told.acks; });
  };
  table.OnVekReportEvent = [](CVekClient* client, void* user, const char*) {
    On(client, user, [](TTold& told) { ++told.reports; });
  };
  table.OnVekClientDestroyEvent = [](CVekClient* client, void* user) {
    On(client, user, [](TTold& told) { told.destroyed = true; });
  };
  return table;
}

// Reads everything a result offers.
void TSession::ReadTables(const CVekTaskResult* result) {
  CVekApi_FreeBSTR(CVekTaskResult_WorkID_B(result));
  for (unsigned i = 0; i < CVekTaskResult_TableCount(result); ++i) {
    const CVekTable table = CVekTaskResult_IndexTable(result, i);
    const CVekProperties properties = CVekTable_Properties(&table);
    CVekProperties_ToString(&properties);
    CVekApi_FreeBSTR(CVekProperties_Description_B(&properties));
    const CVekFields fields = CVekTable_Fields(&table);
    const CVekField field = CVekFields_NameField(&fields, "Price");
    CVekTable_MktFlag(&table);
    CVekTable_RecordField(&table, CVekTable_RecordsCount(&table) - 1, &field);
    CVekApi_FreeBSTR(CVekTable_RecordIndexField_B(&table, 0, 0));
  }
}

// ---- waiting ----

// Waits until `done`, called under the lock, returns true; false if the session goes down instead. One of the
// two must happen, at the latest when every deadline has passed.
bool TSession::Await(const std::function<bool()>& done) {
  std::unique_lock lock(mutex_);
  const auto over = [&] { return done() || IsDown(told_.state) || told_.destroyed; };
  for (bool passed = false; !over();) {
    const unsigned events = told_.events;
    const bool refused = told_.state == cvcs_SgnError;
    const bool last = passed && !refused;
    const auto patience = last ? std::chrono::milliseconds(kPatience) : quiet_;
    if (changed_.wait_for(lock, patience, [&] { return over() || told_.events != events; })) {
      passed = false;
      continue;
    }
    if (last) {
      ADD_FAILURE() << "silence in state " << told_.state;
      return false;
    }
    lock.unlock();
    if (refused && IsGone()) return false;
    LetPass(kEveryDeadlineMs);
    quiet_ = std::min(quiet_ * kMoreQuiet, kLongestQuiet);
    lock.lock();
    passed = told_.events == events;
  }
  return done();
}

// A link that breaks after a refused sign-on raises no event; calls then fail.
bool TSession::IsGone() {
  return !InLibrary([this] { return CVekClient_ChgPass(&client_, "trader", "wrong", "new"); });
}

void TSession::LetPass(unsigned ms) {
  InLibrary([&] { time_.Advance(ms); });
}

// A call may fail if something failed before, or if the session is down.
void TSession::ExpectReason(bool answered, const char* call) const {
  EXPECT_TRUE(answered || Fired() || CVekClient_State(&client_) != cvcs_ApReady)
      << call << " refuses for no reason";
}

unsigned TSession::Told(unsigned TTold::*count) {
  const std::lock_guard lock(mutex_);
  return told_.*count;
}

// ---- steps ----

bool TSession::Made() {
  if (!client_.object) {
    const CVekClientCallbacks callbacks = Callbacks();
    client_ = InLibrary([&] { return CVekClient_Create(&callbacks, this); });
    told_ = {};
  }
  if (!sender_.object && client_.object) {
    sender_ = InLibrary([this] { return CVekFlowCtrlSender_Create(&client_); });
  }
  ExpectReason(client_.object && sender_.object, "Create");
  return client_.object && sender_.object;
}

// True if a sign-on was accepted or refused.
bool TSession::Connect(const char* password) {
  if (!Made()) return false;
  {
    const std::lock_guard lock(mutex_);
    told_.state = cvcs_Connecting;
  }
  const bool begun = InLibrary([&] {
    return CVekClient_Connect(&client_, setting_.c_str(), "Faults", "1.2.3.4", "trader", "9800001", password);
  });
  if (!begun) {
    EXPECT_TRUE(Fired()) << "Connect refuses for no reason";
    return false;
  }
  return Await([this] { return told_.state == cvcs_ApReady || told_.state == cvcs_SgnError; });
}

// Only one call fails, and on a busy machine deadlines also pass too early, at most twice before the longest
// time is used.
bool TSession::Up() {
  for (int i = 0; i < 5; ++i) {
    if (client_.object && CVekClient_State(&client_) == cvcs_ApReady && Made()) return true;
    if (Connect("secret") && sender_.object) return true;
  }
  ADD_FAILURE() << "does not come up again";
  return false;
}

bool TSession::Send(int code, const std::string& text) {
  std::string request = "....." + text;
  const bool sent = InLibrary([&] {
    return CVekClient_SendVekRequest(&client_, code, request.data(), static_cast<unsigned>(request.size()));
  });
  ExpectReason(sent, "SendVekRequest");
  return sent;
}

void TSession::RefusedSignOn() {
  if (!Connect("wrong") || CVekClient_State(&client_) != cvcs_SgnError) return;
  const unsigned before = Told(&TTold::passes);
  const bool sent = InLibrary([this] { return CVekClient_ChgPass(&client_, "trader", "wrong", "new"); });
  if (sent) Await([&] { return told_.passes != before; });
}

void TSession::Query(const std::string& request) {
  if (!Up()) return;
  const unsigned before = Told(&TTold::results);
  if (Send(128, request)) Await([&] { return told_.results != before; });
}

void TSession::Order(int number) {
  std::string order = ".....P" + std::to_string(number) + " new\nprod=TXF side=S qty=1 price=MKT";
  InLibrary([&] {
    return CVekFlowCtrlSender_SendVekRequest(&sender_, order.data(), static_cast<unsigned>(order.size()));
  });
}

// The second half must wait until time has passed after the acknowledgement of the first.
void TSession::PacedOrders() {
  constexpr int kRate = 3;
  if (!Up()) return;
  InLibrary([this] { CVekFlowCtrlSender_SetFlowCtrl(&sender_, kRate, 1000); });
  const unsigned before = Told(&TTold::acks);
  for (int i = 0; i < 2 * kRate; ++i) Order(i);
  bool acknowledged = Await([&] { return told_.acks >= before + kRate; });
  LetPass(1001);
  acknowledged = acknowledged && Await([&] { return told_.acks > before + kRate && told_.reports != 0; });
  // Requests still held belong to this session.
  if (acknowledged) return;
  InLibrary([this] {
    CVekClient_Disconnect(&client_);
    CVekFlowCtrlSender_Delete(&sender_);
  });
}

void TSession::ChangePassword() {
  if (!Up()) return;
  const unsigned before = Told(&TTold::passes);
  const bool sent = InLibrary([this] { return CVekClient_ChgPass(&client_, "trader", "secret", "secret"); });
  ExpectReason(sent, "ChgPass");
  if (sent) Await([&] { return told_.passes != before; });
}

void TSession::Reconnect() {
  if (Up()) Connect("secret");
}

void TSession::Disconnect() {
  if (!Up()) return;
  InLibrary([this] { CVekClient_Disconnect(&client_); });
  const std::lock_guard lock(mutex_);
  EXPECT_EQ(told_.state, cvcs_Disconnected) << "no event inside Disconnect";
}

void TSession::DeleteWhileConnecting() {
  if (!Made()) return;
  InLibrary([this] {
    CVekClient_Connect(&client_, setting_.c_str(), "Faults", "1", "trader", "9800001", "secret");
    CVekFlowCtrlSender_Delete(&sender_);
    CVekClient_Delete(&client_);
  });
  EXPECT_TRUE(told_.destroyed);
}

void TSession::DeleteInsideReady() {
  if (!Made()) return;
  InLibrary([this] { CVekFlowCtrlSender_Delete(&sender_); });
  deleteWhenReady_ = true;
  if (Connect("secret")) Await([this] { return told_.destroyed; });
  deleteWhenReady_ = false;
  const std::lock_guard lock(mutex_);
  if (told_.destroyed) client_ = {};
}

void TSession::DeleteWhileUp() {
  if (!Up()) return;
  InLibrary([this] {
    CVekFlowCtrlSender_Delete(&sender_);
    CVekClient_Delete(&client_);
  });
  EXPECT_TRUE(told_.destroyed);
}

}  // namespace Faults
