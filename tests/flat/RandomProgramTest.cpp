// Random legal programs over the flat functions: every thread creates clients, gates and senders, with and
// without a message loop, connects, sends, reconfigures and deletes them in any order, also inside callbacks,
// while a server streams numbered reports and results, of which no session may miss any. One client is used
// by all threads at once.
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <random>
#include <string>
#include <thread>

#include "sim/SimGateway.h"
#include "sim/SimServer.h"
#include "support/Forked.h"
#include "vekapi/VekApiC.h"

namespace vektest {
namespace {

using VekSim::SimGateway;
using VekSim::SimServer;

constexpr int kSteps = 120;
constexpr unsigned kSlots = 4;
constexpr int kDeepest = 3;  // programs nested in callbacks

class Program;

// One object of each kind and its data. A slot is used by one thread, except its atomic members.
template <class Handle>
struct Slot {
  Handle handle{};
  Program* program = nullptr;
  bool onLoop = false;
  int last = -1;  // last number received in the session; -1: none yet
  std::atomic<bool> gone{true};
};

// Sends numbered reports, with results among them, to all sessions signed on.
class Stream {
 public:
  Stream() : gateway_({.upstreamPort = server_.Port(), .ringBytes = 4096}), thread_([this] { Run(); }) {}
  ~Stream() {
    stop_ = true;
    thread_.join();
  }
  Stream(const Stream&) = delete;
  Stream& operator=(const Stream&) = delete;

  std::string Tcp() const { return ":" + server_.Setting(); }
  std::string SharedMemory() const { return gateway_.Setting(); }
  // Requests that were torn or mixed.
  std::size_t Broken() const { return server_.Seen().broken; }
  // At most some hundreds ahead of the numbers requested here: the test is about order, not memory.
  void Pass() { passed_ += 20; }

 private:
  void Run() {
    for (int number = 0; !stop_;) {
      const std::string text = std::to_string(number);
      // A number without a receiver is reused.
      number += number % 8 != 0 ? server_.SendReport(SimServer::kAll, "#" + text)
                                : server_.SendResult(SimServer::kAll, "#", "\x02T\n\x03N\n" + text + "\n");
      while (!stop_ && number > passed_ + 400) std::this_thread::yield();
    }
  }

  SimServer server_{[] {
    VekSim::SimConfig config;
    config.keepPackets = false;
    return config;
  }()};
  SimGateway gateway_;
  std::atomic<bool> stop_{false};
  std::atomic<int> passed_{0};
  std::thread thread_;
};

// A client with a sender, used by every program, outside and inside of its events: everybody sends, one at a
// time connects and disconnects it, and who uses it alone makes it anew. Nobody waits: what is impossible now
// is left out.
class Common {
 public:
  explicit Common(std::string setting) : setting_(std::move(setting)) { Make(); }
  ~Common() {
    while (!TakeAlone()) std::this_thread::yield();  // an event that made it anew may still be on a stack
    Delete();
  }
  Common(const Common&) = delete;
  Common& operator=(const Common&) = delete;

  // From now on its events do nothing, so that they leave the processors to those who wait for theirs.
  void Calm() { calm_ = true; }

  void Act(unsigned choice) {
    if (choice == 0 && TakeAlone()) {
      Delete();
      Make();
      users_ = 1;
    } else if (!Share()) {
      return;
    }
    Use(choice);
    --users_;
  }

 private:
  void Make() {
    CVekClientCallbacks callbacks{};
    callbacks.OnVekConnectEvent = [](CVekClient*, void* user, const char*) { Of(user).OnEvent(); };
    callbacks.OnVekApReadyEvent = [](CVekClient*, void* user) { Of(user).OnEvent(); };
    callbacks.OnVekReportEvent = [](CVekClient*, void* user, const char*) { Of(user).OnEvent(); };
    callbacks.OnVekChgPassResultEvent = [](CVekClient*, void* user, const char*, const char*) {
      Of(user).OnEvent();
    };
    callbacks.OnVekRequestAckEvent = [](CVekClient*, void* user, int code, const char* text) {
      CVekFlowCtrlSender_AckParser(&Of(user).sender_, code, text);
    };
    client_ = CVekClient_Create(&callbacks, this);
    sender_ = CVekFlowCtrlSender_Create(&client_);
    CVekFlowCtrlSender_SetFlowCtrl(&sender_, 5, 1);
  }
  void Delete() {
    CVekClient_Delete(&client_);
    CVekFlowCtrlSender_Delete(&sender_);
  }
  bool TakeAlone() {
    int nobody = 0;
    return users_.compare_exchange_strong(nobody, -1);
  }
  bool Share() {
    int users = users_;
    while (users >= 0 && !users_.compare_exchange_weak(users, users + 1)) continue;
    return users >= 0;
  }
  static Common& Of(void* user) { return *static_cast<Common*>(user); }
  void OnEvent() {
    if (const unsigned event = events_++; event % 16 == 0 && !calm_) Act(event / 16 % 8);
  }
  void Use(unsigned choice) {
    char request[] = "     w1 new\nprod=TXF\nw2 new\nprod=TXF";
    if (choice > 5) CVekClient_SendVekRequest(&client_, cvmc_RequestAck, request, sizeof request - 1);
    if (choice == 5) CVekFlowCtrlSender_SendVekRequests(&sender_, request, sizeof request - 1);
    if (choice == 4) CVekClient_ChgPass(&client_, "trader", "secret", "secret");
    if (choice > 3 || changing_.exchange(true)) return;
    if (choice == 3) CVekClient_Disconnect(&client_);
    if (choice < 3)
      CVekClient_Connect(&client_, setting_.c_str(), "Common", "1", "trader", "9800001", "secret");
    changing_ = false;
  }

  const std::string setting_;
  CVekClient client_{};
  CVekFlowCtrlSender sender_{};
  std::atomic<int> users_{0};  // -1: one who makes it anew
  std::atomic<bool> changing_{false};
  std::atomic<bool> calm_{false};
  unsigned events_ = 0;  // unguarded on purpose: ThreadSanitizer checks that events do not overlap
};

// One thread's program.
class Program {
 public:
  Program(unsigned seed, Stream& stream, Common& common)
      : random_(seed),
        stream_(stream),
        common_(common),
        settings_{stream.Tcp(), stream.SharedMemory(), "127.0.0.1:1", ":Nothing:"} {
    for (auto& slot : clients_) slot.program = this;
    for (auto& slot : gates_) slot.program = this;
    for (auto& slot : senders_) slot.program = this;
  }

  void Run() {
    for (int step = 0; step < kSteps; ++step) Step();
    depth_ = kDeepest;  // callbacks from now on only make queries
    common_.Calm();
    AwaitNumbers(clients_[0]);
    while (AnythingLeft()) DeleteSomething();
    while (CVekMessageLoop_Dispatch(0) > 0) continue;
    while (fleeting_ != 0) std::this_thread::yield();
    EXPECT_EQ(late_, 0) << "callbacks after the deletion";
    EXPECT_EQ(elsewhere_, 0) << "callbacks on another thread than the loop's";
    EXPECT_EQ(torn_, 0) << "results that were not whole";
    EXPECT_EQ(gaps_, 0) << "events that came out of order, twice or not at all";
  }

  int Numbers() const { return numbers_; }

 private:
  unsigned Random(unsigned below) { return static_cast<unsigned>(random_() % below); }
  template <class T>
  T& Any(std::array<T, kSlots>& slots) {
    return slots[Random(kSlots)];
  }

  // ---- events ----

  template <class T>
  void Note(T& slot) {
    if (slot.gone) ++late_;
    if (slot.onLoop && std::this_thread::get_id() != thread_) ++elsewhere_;
  }
  // On a loop any call may be made inside a callback; on the library's threads only queries and sends,
  // because the program's objects may be deleted meanwhile.
  template <class T>
  void React(T& slot, CVekClient* client) {
    Note(slot);
    if (!slot.onLoop) return Use(*client, true);
    if (depth_ < kDeepest && Random(4) == 0) Nested();
  }
  void Number(Slot<CVekClient>& slot, const char* text) {
    const int number = std::atoi(text);
    if (slot.last >= 0 && number != slot.last + 1) ++gaps_;
    slot.last = number;
    ++numbers_;
  }
  void Nested() {
    ++depth_;
    Step();
    --depth_;
  }
  void Use(CVekClient& client, bool mayRead) {
    if (mayRead) Read(client);
    char request[] = "     w1 new\nprod=TXF";
    CVekClient_SendVekRequest(&client, cvmc_RequestAck, request, sizeof request - 1);
    CVekClient_SendVekQueryRequest(&client, request, 9);
  }
  // Data replaced by a sign-on: read on the loop's thread, or inside a callback.
  void Read(CVekClient& client) {
    const CVekTaskResult result = CVekClient_SgnResult(&client);
    const CVekTable table = CVekTaskResult_IndexTable(&result, 0);
    const char* const text = CVekTaskResult_OrigResult(&result);
    const char* const cell = CVekTable_RecordIndexField(&table, 0, 0);
    if (text && *text && (!table.object || !cell)) ++torn_;
    if (const char* const server = CVekClient_ServerName(&client)) text_ = text_ + static_cast<int>(*server);
  }

  static CVekClientCallbacks ClientCallbacks() {
    CVekClientCallbacks all{};
    all.OnVekConnectEvent = [](CVekClient* client, void* user, const char*) {
      At(user).last = -1;
      Of(user).React(At(user), client);
    };
    all.OnVekApReadyEvent = [](CVekClient* client, void* user) { Of(user).React(At(user), client); };
    all.OnVekReportEvent = [](CVekClient* client, void* user, const char* text) {
      if (*text == '#') Of(user).Number(At(user), text + 1);
      Of(user).React(At(user), client);
    };
    all.OnVekTaskResultEvent = [](CVekClient* client, void* user, const CVekTaskResult* result) {
      const CVekTable table = CVekTaskResult_IndexTable(result, 0);
      if (CVekTaskResult_TableCount(result) != 1) ++Of(user).torn_;
      if (*CVekTaskResult_WorkID(result) == '#')
        Of(user).Number(At(user), CVekTable_RecordIndexField(&table, 0, 0));
      Of(user).React(At(user), client);
    };
    all.OnVekRequestAckEvent = [](CVekClient* client, void* user, int code, const char* text) {
      Program& program = Of(user);
      if (At(user).onLoop) CVekFlowCtrlSender_AckParser(&program.Any(program.senders_).handle, code, text);
      program.React(At(user), client);
    };
    all.OnVekClientDestroyEvent = [](CVekClient*, void* user) {
      if (At(user).gone.exchange(true)) ++Of(user).late_;
    };
    return all;
  }
  static Slot<CVekClient>& At(void* user) { return *static_cast<Slot<CVekClient>*>(user); }
  static Program& Of(void* user) { return *At(user).program; }

  // ---- actions ----

  void Step() {
    stream_.Pass();
    if (Random(8) == 0) common_.Act(Random(8));
    switch (Random(11)) {
      case 0:
        return Make();
      case 1:
        Connect(Any(clients_).handle);
        return;
      case 2:
        return CVekClient_Disconnect(&Any(clients_).handle);
      case 3: {
        auto& slot = Any(clients_);
        return Use(slot.handle, slot.onLoop);
      }
      case 4:
        return UseGate(Any(gates_).handle);
      case 5:
        return UseSender(Any(senders_).handle);
      case 6:
        return DeleteSomething();
      case 7:
        if (depth_ == 0 && Random(60) == 0) return Fork();
        return MakeFleeting();
      default:
        return RunLoop();
    }
  }
  void RunLoop() {
    for (unsigned i = Random(100); i != 0 && CVekMessageLoop_Dispatch(1) > 0; --i) stream_.Pass();
  }

  // Some session receives numbers, however slow the machine is.
  void AwaitNumbers(Slot<CVekClient>& slot) {
    DeleteClient(slot);
    MakeClient(slot, true);
    for (const int goal = numbers_ + 10; numbers_ < goal; CVekMessageLoop_Dispatch(5)) {
      stream_.Pass();
      if (CVekClient_State(&slot.handle) > cvcs_None) continue;
      CVekClient_Connect(&slot.handle, settings_[0].c_str(), "Random", "1", "trader", "9800001", "secret");
    }
  }

  void Make() {
    const bool onLoop = Random(2) != 0;
    switch (Random(3)) {
      case 0:
        return MakeClient(Any(clients_), onLoop);
      case 1:
        return MakeGate(Any(gates_), onLoop);
      default:
        return MakeSender(Any(senders_), Any(clients_).handle, onLoop);
    }
  }
  void MakeClient(Slot<CVekClient>& slot, bool onLoop) {
    if (!slot.gone) return;
    const CVekClientCallbacks callbacks = ClientCallbacks();
    slot.onLoop = onLoop;
    slot.last = -1;
    slot.gone = false;
    slot.handle = (onLoop ? CVekClient_Create_OnMessageLoop : CVekClient_Create)(&callbacks, &slot);
    EXPECT_NE(slot.handle.object, nullptr);
  }
  // A client that deletes itself on its link's thread.
  void MakeFleeting() {
    CVekClientCallbacks callbacks{};
    callbacks.OnVekApReadyEvent = [](CVekClient* client, void*) { CVekClient_Delete(client); };
    callbacks.OnVekConnectEvent = [](CVekClient* client, void*, const char*) {
      if (CVekClient_State(client) < cvcs_None) CVekClient_Delete(client);
    };
    callbacks.OnVekClientDestroyEvent = [](CVekClient*, void* user) {
      --static_cast<Program*>(user)->fleeting_;
    };
    ++fleeting_;
    CVekClient client = CVekClient_Create(&callbacks, this);
    Connect(client);
  }
  void MakeGate(Slot<CVekFlowCtrl>& slot, bool onLoop) {
    if (!slot.gone) return;
    CVekFlowCtrlCallbacks callbacks{[](CVekFlowCtrl* gate, void* user) {
      auto& at = *static_cast<Slot<CVekFlowCtrl>*>(user);
      at.program->Note(at);
      CVekFlowCtrl_CheckFlowCtrl(gate);
      if (at.onLoop && at.program->depth_ < kDeepest) at.program->Nested();
    }};
    slot.onLoop = onLoop;
    slot.gone = false;
    slot.handle = (onLoop ? CVekFlowCtrl_Create_OnMessageLoop : CVekFlowCtrl_Create)(&callbacks, &slot);
  }
  void MakeSender(Slot<CVekFlowCtrlSender>& slot, CVekClient& client, bool onLoop) {
    if (!slot.gone || !client.object) return;
    CVekFlowCtrlSenderCallbacks callbacks{[](CVekFlowCtrlSender*, void* user, unsigned, unsigned) {
      auto& at = *static_cast<Slot<CVekFlowCtrlSender>*>(user);
      at.program->Note(at);
      if (at.program->depth_ < kDeepest) at.program->Nested();
      if (at.program->Random(2) == 0) DeleteAt(at, CVekFlowCtrlSender_Delete);
    }};
    slot.onLoop = onLoop;
    slot.gone = false;
    slot.handle = onLoop ? CVekFlowCtrlSender_Create_OnMessageLoop(&client, &callbacks, &slot)
                         : CVekFlowCtrlSender_Create(&client);
  }

  bool Connect(CVekClient& client) {
    return CVekClient_Connect(&client, settings_[Random(4)].c_str(), "Random", "1.0.0.0", "trader", "9800001",
                              "secret");
  }

  void UseGate(CVekFlowCtrl& gate) {
    CVekFlowCtrl_SetFlowCtrl(&gate, static_cast<int>(Random(4)), static_cast<int>(Random(4)));
    for (unsigned i = Random(5); i != 0; --i) CVekFlowCtrl_CheckFlowCtrl(&gate);
    CVekFlowCtrl_SetAckTime(&gate, Random(4));
    CVekFlowCtrl_StartCheckTimer(&gate);
    if (Random(4) == 0) CVekFlowCtrl_Clear(&gate);
  }

  void UseSender(CVekFlowCtrlSender& sender) {
    CVekFlowCtrlSender_SetFlowCtrl(&sender, static_cast<int>(Random(4)), static_cast<int>(Random(4)));
    char text[] = "     w1 new\nprod=TXF\nw2 new\nprod=TXF\nw3 new\nprod=TXF";
    CVekFlowCtrlSender_SendVekRequests(&sender, text, sizeof text - 1);
    char one[] = "     w4 new\nprod=TXF";
    CVekFlowCtrlSender_SendVekRequest(&sender, one, sizeof one - 1);
    if (Random(3) == 0) CVekFlowCtrlSender_TakePending(&sender, one, sizeof one);
    if (Random(3) == 0) CVekFlowCtrlSender_DropPending(&sender);
    CVekFlowCtrlSender_SetAckTime(&sender, 0, Random(5));
    CVekFlowCtrlSender_CheckPending(&sender);
  }

  template <class T, class Delete>
  static void DeleteAt(Slot<T>& slot, Delete Delete_) {
    if (slot.gone) return;
    Delete_(&slot.handle);
    slot.gone = true;
  }
  void DeleteSomething() {
    switch (Random(3)) {
      case 0:
        return DeleteClient(Any(clients_));
      case 1:
        return DeleteAt(Any(gates_), CVekFlowCtrl_Delete);
      default:
        return DeleteAt(Any(senders_), CVekFlowCtrlSender_Delete);
    }
  }
  // May be called inside the deletion of the same client, which then continues.
  void DeleteClient(Slot<CVekClient>& slot) {
    if (!slot.gone) CVekClient_Delete(&slot.handle);
  }
  bool AnythingLeft() const {
    const auto left = [](const auto& slots) {
      for (const auto& slot : slots) {
        if (!slot.gone) return true;
      }
      return false;
    };
    return left(clients_) || left(gates_) || left(senders_);
  }

  // A child may use everything it inherited, without effect, and what it makes itself is up to nobody else.
  void Fork() {
    if (!TestSupport::kForksAtAnyMoment) return;  // the other threads never all sleep here
    const auto code = TestSupport::ExitCodeOfChild([this] {
      for (auto& slot : clients_) {
        if (Connect(slot.handle)) return 1;
        CVekClient_Disconnect(&slot.handle);
        DeleteClient(slot);
      }
      CVekMessageLoop_Dispatch(0);
      CVekClient client = CVekClient_Create_OnMessageLoop(nullptr, nullptr);
      CVekClient_Connect(&client, settings_[0].c_str(), "Child", "1", "trader", "9800001", "secret");
      while (CVekClient_State(&client) != cvcs_ApReady) CVekMessageLoop_Dispatch(5);
      CVekClient_Delete(&client);
      return 0;
    });
    EXPECT_EQ(code.value_or(0), 0);
  }

  std::minstd_rand random_;
  Stream& stream_;
  Common& common_;
  const std::array<std::string, 4> settings_;
  const std::thread::id thread_ = std::this_thread::get_id();
  std::array<Slot<CVekClient>, kSlots> clients_;
  std::array<Slot<CVekFlowCtrl>, kSlots> gates_;
  std::array<Slot<CVekFlowCtrlSender>, kSlots> senders_;
  int depth_ = 0;
  std::atomic<int> fleeting_{0};
  std::atomic<int> numbers_{0};
  std::atomic<int> gaps_{0};
  std::atomic<int> late_{0};
  std::atomic<int> elsewhere_{0};
  std::atomic<int> torn_{0};
  std::atomic<int> text_{0};
};

// Runs two threads with a program each; returns the number of numbered events received.
int RunTwo(unsigned seed, Stream& stream) {
  std::array<std::thread, 2> threads;
  Common common(seed % 2 == 0 ? stream.Tcp() : stream.SharedMemory());
  std::atomic<int> seen{0};
  for (unsigned i = 0; i < threads.size(); ++i) {
    threads[i] = std::thread([&, i] {
      Program program(2 * seed + i, stream, common);
      program.Run();
      seen += program.Numbers();
    });
  }
  for (std::thread& thread : threads) thread.join();
  return seen;
}

TEST(RandomPrograms, EndWithoutCrashHangLateCallbackOrGap) {
  Stream stream;
  int numbers = 0;
  for (unsigned seed = 1; seed <= (TestSupport::kSanitized ? 12 : 24) && !HasFailure(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    numbers += RunTwo(seed, stream);
  }
  EXPECT_GT(numbers, 0);
  EXPECT_EQ(stream.Broken(), 0U);
}

}  // namespace
}  // namespace vektest
