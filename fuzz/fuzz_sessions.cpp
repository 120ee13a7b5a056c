// Calls of the flat functions of sessions in the order that the bytes say, also inside callbacks; the server
// is the bytes too, and time is virtual. Every accepted request gets one fate before its session is deleted,
// and nothing is called back afterwards.
#include <array>
#include <set>

#include "fuzz/Server.h"
#include "support/TVirtualTimerQueue.h"
#include "vekapi/VekSessionC.h"

namespace {

using vekfuzz::Check;
using vekfuzz::Input;

struct World;

struct Slot {
  World* world = nullptr;
  CVekSession handle{};
  int delivery = 0;
  bool there = false;  // callbacks may come
  std::set<std::uint64_t> accepted, fated;
};

struct World {
  explicit World(Input& bytes) : input(bytes) {
    for (Slot& slot : slots) slot.world = this;
  }

  TestSupport::TVirtualTimerQueue time;
  Input& input;
  int depth = 0;      // of callbacks
  bool over = false;  // they call nothing any more
  std::array<Slot, 2> slots;
};

void Call(World& w);

void OnEvent(CVekSession* handle, void* user, const CVekEvent* event) {
  Slot& slot = *static_cast<Slot*>(user);
  Check(slot.there, "no callback after the deletion");
  Check(CVekApi_Describe(event, nullptr, 0) != 0, "an event in words");
  if (event->kind == vse_Fate) Check(slot.fated.insert(event->ticket).second, "one fate");
  CVekTaskResult kept = CVekSession_KeepResult(handle, event);
  CVekTaskResult_Free(&kept);
  if (++slot.world->depth <= 2 && !slot.world->over) Call(*slot.world);
  --slot.world->depth;
}

void Make(Slot& slot, Input& input) {
  if (slot.there) return;
  CVekSessionConfig config;
  CVekSession_Defaults(&config, sizeof config);
  const unsigned what = input.Byte(), times = input.Byte();
  slot.delivery = static_cast<int>(what % 3);
  config.delivery = slot.delivery;
  config.id1 = "id", config.seed = 7, config.onEvent = &OnEvent, config.user = &slot;
  config.ackRule = static_cast<int>(what >> 2 & 1), config.flags = what >> 3 & 7;
  config.rateCount = static_cast<int>(what >> 6), config.rateMs = 100;
  config.maxHeld = 1 + (times & 7), config.maxEvents = 16 + (times & 7),
  config.silenceMs = (times >> 4) * 5000;
  config.maxAttempts = times & 3, config.maxShortLinks = times >> 2 & 3, config.remember = times & 1;
  if ((times & 8) != 0) config.probe = "alive";
  slot.handle = CVekSession_Create(&config, nullptr);
  slot.there = slot.handle.object != nullptr;
  slot.accepted.clear();
  slot.fated.clear();
}

void Next(Slot& slot) {
  CVekEvent event{};
  event.size = sizeof event;
  if (CVekSession_Next(&slot.handle, 0, &event) == 1) OnEvent(&slot.handle, &slot, &event);
}

// A polled session loses the events that were not taken.
void Delete(Slot& slot) {
  const bool first = slot.handle.object != nullptr;
  CVekSession_Delete(&slot.handle);
  Check(slot.handle.object == nullptr, "a null handle");
  if (!first) return;
  slot.there = false;
  if (slot.delivery == vsd_Poll) return;
  for (const std::uint64_t ticket : slot.accepted) Check(slot.fated.contains(ticket), "each has a fate");
}

void Open(Slot& slot, Input& input) {
  CVekSession_AddEndpoint(&slot.handle, vekfuzz::SettingOf(input));
  if (input.Below(3) == 0) CVekSession_AddResync(&slot.handle, "stats");
  CVekSession_SetPassword(&slot.handle, "pass");
  CVekSession_Open(&slot.handle);
}

void Submit(Slot& slot, Input& input) {
  constexpr const char* kIds[] = {"w1", "w2", "w3", "w4", nullptr, "", "w 5", "w6"};
  constexpr const char* kRests[] = {" q", " new\nprod=T", "\n", "", " a\nb\nc"};
  CVekSubmit request{};
  const unsigned what = input.Byte(), which = input.Byte();
  request.size = sizeof request;
  request.workId = kIds[which & 7];
  const std::string text = (request.workId ? request.workId : "") + std::string(kRests[(which >> 3) % 5]);
  request.text = text.data(), request.textLength = static_cast<std::uint32_t>(text.size());
  request.code = (what & 1) != 0 ? 129 : (what & 2) != 0 ? 128 : 200;
  request.mode = static_cast<int>(what >> 2 & 1), request.flags = what >> 3 & 7;
  request.holdMs = (what >> 6) * 1000, request.answerMs = (which >> 6) * 500;
  if (input.Below(5) == 0) request.replaces = input.Below(20);
  CVekReceipt receipt{};
  receipt.size = sizeof receipt;
  if (CVekSession_Submit(&slot.handle, &request, &receipt) == 0)
    Check(slot.accepted.insert(receipt.ticket).second, "a ticket of its own");
  else
    Check(receipt.ticket == 0, "no ticket for what is refused");
}

void Ask(Slot& slot, Input& input) {
  CVekSession& session = slot.handle;
  CVekSessionStats stats{};
  stats.size = sizeof stats;
  CVekSession_Stats(&session, &stats);
  Check(stats.held <= 8, "no more held than configured");
  char id[32];
  CVekSession_NewWorkId(&session, id);
  std::uint64_t counts[4];
  CVekSession_RoundTrips(&session, 129, counts, 4);
  Check(CVekSession_WaitMs(&session, 129) >= -1, "a time to wait");
  const unsigned what = input.Byte();
  if ((what & 1) != 0) CVekSession_SetRate(&session, static_cast<int>(what >> 6), 100);
  if ((what & 2) != 0) CVekSession_SetTrace(&session, static_cast<int>(what >> 6));
  if ((what & 4) != 0) CVekSession_RetryIn(&session, what);
  if ((what & 8) != 0) CVekSession_ResyncDone(&session, what >> 4, (what & 0x80) != 0);
  if ((what & 16) != 0) CVekSession_Withdraw(&session, what >> 5);
  if ((what & 32) != 0) CVekSession_ChangePassword(&session, "id", "pass", "new", 1, nullptr);
}

void Call(World& w) {
  Slot& slot = w.slots[w.input.Below(2)];
  switch (w.input.Below(12)) {
    case 0:
      return Make(slot, w.input);
    case 1:
      return Open(slot, w.input);
    case 2:
      return Delete(slot);
    case 3:
      return CVekSession_Close(&slot.handle, w.input.Below(3) * 1000);
    case 4:
    case 5:
      return Ask(slot, w.input);
    case 6:
      return Next(slot);
    case 7:
      CVekMessageLoop_Dispatch(0);
      return;
    default:
      return Submit(slot, w.input);
  }
}

void Step(World& w) {
  const unsigned what = w.input.Below(5);
  if (what < 2) return Call(w);
  if (what < 4) return vekfuzz::ServerStep(w.input);
  w.time.Advance(w.input.Byte() * 200);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const CVekClient anchor = CVekClient_Create(nullptr, nullptr);  // keeps the library's threads
  Check(anchor.object != nullptr, "a client");
  Input input(data, size);
  World world(input);
  for (int step = 0; step < 300 && !input.Empty(); ++step) Step(world);
  world.over = true;
  for (Slot& slot : world.slots) Delete(slot);
  while (CVekMessageLoop_Dispatch(0) > 0) continue;
  return 0;
}
