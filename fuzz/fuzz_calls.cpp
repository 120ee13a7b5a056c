// Calls of the flat functions of clients, gates and senders on a few handles, null ones among them, in the
// order that the bytes say, also inside callbacks; the server is the bytes too, and time is virtual. Nothing
// is called back after a deletion.
#include <array>
#include <utility>

#include "fuzz/Server.h"
#include "support/TVirtualTimerQueue.h"
#include "vekapi/VekSessionC.h"

namespace {

using vekfuzz::Check;
using vekfuzz::Input;

struct World;

template <class Handle>
struct Slot {
  Handle handle{};
  bool there = false;  // callbacks may come
  World* world = nullptr;
};

template <class Handle>
using Slots = std::array<Slot<Handle>, 2>;

struct World {
  explicit World(Input& bytes) : input(bytes) {
    for (unsigned i = 0; i < 2; ++i) clients[i].world = gates[i].world = senders[i].world = this;
  }
  template <class T>
  T& Any(std::array<T, 2>& slots) {
    return slots[input.Below(2)];
  }

  TestSupport::TVirtualTimerQueue time;
  Input& input;
  int depth = 0;      // of callbacks
  bool over = false;  // they call nothing any more
  Slots<CVekClient> clients;
  Slots<CVekFlowCtrl> gates;
  Slots<CVekFlowCtrlSender> senders;
};

void Call(World& w);

template <class Handle>
void CalledBack(Handle*, void* user) {
  const auto& slot = *static_cast<Slot<Handle>*>(user);
  Check(slot.there, "no callback after the deletion");
  World& w = *slot.world;
  if (++w.depth <= 2 && !w.over) Call(w);
  --w.depth;
}

// Five reserved bytes and a text.
std::string RequestOf(Input& input) {
  constexpr const char* kTexts[] = {"w1 q", "w2 new\nprod=T", "a\nb\nc\nd\ne\nf", "\n", "", "w3 \x01\nx\ny"};
  const unsigned which = input.Below(7);
  return "....." + (which < 6 ? std::string(kTexts[which]) : std::string(5000, 'l') + "\n2");
}

// ---- clients ----

void MakeClient(World& w) {
  auto& slot = w.Any(w.clients);
  if (slot.there) return;
  constexpr auto kGone = [](CVekClient*, void* user) {
    Check(std::exchange(static_cast<Slot<CVekClient>*>(user)->there, false), "one end");
  };
  const CVekClientCallbacks callbacks{
      [](CVekClient* c, void* user, int, const char*, int) { CalledBack(c, user); },
      [](CVekClient* c, void* user, const char*) { CalledBack(c, user); },
      &CalledBack<CVekClient>,
      [](CVekClient* c, void* user, const CVekTaskResult*) { CalledBack(c, user); },
      [](CVekClient* c, void* user, const char*, const char*) { CalledBack(c, user); },
      [](CVekClient* c, void* user, int code, const char* text) {
        CVekFlowCtrlSender_AckParser(&static_cast<Slot<CVekClient>*>(user)->world->senders[0].handle, code,
                                     text);
        CalledBack(c, user);
      },
      [](CVekClient* c, void* user, const char*) { CalledBack(c, user); },
      kGone};
  slot.there = true;
  slot.handle =
      (w.input.Below(2) != 0 ? CVekClient_Create : CVekClient_Create_OnMessageLoop)(&callbacks, &slot);
}

void Connect(World& w) {
  CVekClient& client = w.Any(w.clients).handle;
  const char* const setting = vekfuzz::SettingOf(w.input);
  CVekClient_Connect(&client, setting, w.input.Below(9) != 0 ? "Fuzz" : nullptr, "1.2", "id", "", "pass");
}

void Send(World& w) {
  CVekClient& client = w.Any(w.clients).handle;
  std::string text = RequestOf(w.input);
  const auto length = static_cast<unsigned>(text.size());
  constexpr int kCodes[] = {128, 129, 129, 4, 4095};
  if (w.input.Below(4) == 0) {
    CVekClient_SendVekQueryRequest(&client, text.data(), length);
  } else {
    CVekClient_SendVekRequest(&client, kCodes[w.input.Below(5)], text.data(), length);
  }
}

void UseClient(World& w) {
  CVekClient& client = w.Any(w.clients).handle;
  const CVekTaskResult result = CVekClient_SgnResult(&client);
  const CVekTable table = CVekTaskResult_IndexTable(&result, 0);
  CVekTable_RecordIndexField(&table, 0, 0);
  char detail[8];
  CVekClient_LinkDetail(&client, detail, w.input.Below(9));
  Check((CVekClient_ServerName(&client) != nullptr) == (client.object != nullptr), "a name");
  std::string packet = vektest::Pack(200, "body");
  const unsigned what = w.input.Byte();
  if ((what & 1) != 0) CVekClient_SendPk(&client, packet.data(), static_cast<int>(packet.size()));
  if ((what & 2) != 0) CVekClient_ChgPass(&client, "id", nullptr, "new");
  constexpr auto kTrace = [](CVekClient*, void*, const CVekEvent* event) {
    Check(CVekApi_Describe(event, nullptr, 0) != 0, "an event in words");
  };
  if ((what & 4) != 0) CVekClient_SetTrace(&client, kTrace, nullptr, static_cast<int>(what >> 3 & 3));
}

// ---- gates and senders ----

// Inside, no client is connected, disconnected or deleted.
void OnFree(CVekFlowCtrl* gate, void* user) {
  const auto& slot = *static_cast<Slot<CVekFlowCtrl>*>(user);
  Check(slot.there, "no callback after the deletion");
  CVekFlowCtrl_CheckFlowCtrl(gate);
  Send(*slot.world);
}

void UseGate(World& w) {
  auto& slot = w.Any(w.gates);
  CVekFlowCtrl& gate = slot.handle;
  const CVekFlowCtrlCallbacks callbacks{&OnFree};
  const unsigned what = w.input.Byte();
  if (!std::exchange(slot.there, true))
    gate = ((what & 1) != 0 ? CVekFlowCtrl_Create : CVekFlowCtrl_Create_OnMessageLoop)(&callbacks, &slot);
  if ((what & 1) != 0) CVekFlowCtrl_SetFlowCtrl(&gate, static_cast<int>(what >> 6), 100);
  CVekFlowCtrl_Lock(&gate);
  CVekFlowCtrl_CheckFlowCtrl(&gate);
  if ((what & 2) != 0) CVekFlowCtrl_StartCheckTimer(&gate);
  if ((what & 4) != 0) CVekFlowCtrl_SetAckTime(&gate, what >> 4);
  if ((what & 8) != 0) CVekFlowCtrl_Clear(&gate);
  CVekFlowCtrl_Unlock(&gate);
  if ((what & 0x30) != 0x30) return;
  CVekFlowCtrl_Delete(&gate);
  slot.there = false;
}

void MakeSender(World& w) {
  auto& slot = w.Any(w.senders);
  CVekClient& client = w.Any(w.clients).handle;
  if (slot.there || client.object == nullptr) return;
  const CVekFlowCtrlSenderCallbacks callbacks{
      [](CVekFlowCtrlSender* s, void* user, unsigned, unsigned) { CalledBack(s, user); }};
  slot.there = true;
  slot.handle = w.input.Below(2) != 0 ? CVekFlowCtrlSender_Create(&client)
                                      : CVekFlowCtrlSender_Create_OnMessageLoop(&client, &callbacks, &slot);
}

void UseSender(World& w) {
  auto& slot = w.Any(w.senders);
  CVekFlowCtrlSender& sender = slot.handle;
  std::string text = RequestOf(w.input);
  const auto length = static_cast<unsigned>(text.size());
  const unsigned what = w.input.Byte(), held = CVekFlowCtrlSender_PendingCount(&sender);
  if (what == 0) Check(CVekFlowCtrlSender_DropPending(&sender) == held, "all that is held is dropped");
  if (what == 16) CVekFlowCtrlSender_TakePending(&sender, text.data(), length);
  if ((what & 1) != 0) CVekFlowCtrlSender_SetFlowCtrl(&sender, static_cast<int>(what >> 6), 100);
  if ((what & 2) != 0) CVekFlowCtrlSender_SendVekRequest(&sender, text.data(), length);
  if ((what & 4) != 0) CVekFlowCtrlSender_SendVekRequests(&sender, text.data(), length);
  if ((what & 8) != 0) CVekFlowCtrlSender_SetAckTime(&sender, 0, what >> 4);
  if ((what & 0x30) != 0x30) return;
  CVekFlowCtrlSender_Delete(&sender);
  slot.there = false;
}

void Call(World& w) {
  switch (w.input.Below(12)) {
    case 0:
      return MakeClient(w);
    case 1:
      return CVekClient_Delete(&w.Any(w.clients).handle);
    case 2:
    case 3:
      return Connect(w);
    case 4:
      return CVekClient_Disconnect(&w.Any(w.clients).handle);
    case 5:
      return UseClient(w);
    case 6:
      return UseGate(w);
    case 7:
      return MakeSender(w);
    case 8:
    case 9:
      return UseSender(w);
    case 10:
      CVekMessageLoop_Dispatch(0);
      return;
    default:
      return Send(w);
  }
}

void Step(World& w) {
  const unsigned what = w.input.Below(4);
  if (what < 2) return Call(w);
  if (what == 2) return vekfuzz::ServerStep(w.input);
  const auto idle = [](const auto& slots) { return !slots[0].there && !slots[1].there; };
  // A gate that waits for an acknowledgement looks every millisecond.
  w.time.Advance(w.input.Byte() * (idle(w.gates) && idle(w.senders) ? 200 : 2));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const CVekClient anchor = CVekClient_Create(nullptr, nullptr);  // keeps the library's threads
  Check(anchor.object != nullptr, "a client");
  Input input(data, size);
  World world(input);
  for (int step = 0; step < 300 && !input.Empty(); ++step) Step(world);
  world.over = true;
  for (auto& slot : world.clients) CVekClient_Delete(&slot.handle);
  for (auto& slot : world.gates) CVekFlowCtrl_Delete(&slot.handle);
  for (auto& slot : world.senders) CVekFlowCtrlSender_Delete(&slot.handle);
  for (auto& slot : world.clients) Check(!slot.there, "each client has ended");
  while (CVekMessageLoop_Dispatch(0) > 0) continue;
  return 0;
}
