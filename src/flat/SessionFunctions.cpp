// The functions of VekSessionC.h that operate on a session.
#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>

#include "flat/ForcedUnwind.h"
#include "keeper/TSession.h"
#include "platform/os/Process.h"
#include "vekapi/VekSessionC.h"

namespace {

using VekApi::TSession;
using VekApi::TSessionConfig;

// Reads a structure of the caller's version; members unknown to that version are 0. False if fewer than
// `needed` bytes are there.
template <class T>
bool Take(const T* given, std::size_t needed, T& taken) {
  if (!given || given->size < needed) return false;
  if (given->size >= sizeof taken) {
    std::memcpy(&taken, given, sizeof taken);
  } else {
    std::memcpy(&taken, given, given->size);
  }
  return true;
}

// The reverse: writes only the members the caller's version knows.
template <class T>
void Give(T* to, T& filled) {
  const std::uint32_t size = to->size;
  filled.size = size;
  std::memcpy(to, &filled, std::min<std::size_t>(size, sizeof filled));
}

#define VEKAPI_UP_TO(type, member) (offsetof(type, member) + sizeof(type::member))
constexpr std::size_t kConfigBytes = VEKAPI_UP_TO(CVekSessionConfig, user);
constexpr std::size_t kSubmitBytes = VEKAPI_UP_TO(CVekSubmit, textLength);
constexpr std::size_t kReceiptBytes = VEKAPI_UP_TO(CVekReceipt, ticket);
constexpr std::size_t kEventBytes = VEKAPI_UP_TO(CVekEvent, result);
constexpr std::size_t kStatsBytes = VEKAPI_UP_TO(CVekSessionStats, out);
#undef VEKAPI_UP_TO

// Also null in a process forked from the session's.
TSession* Of(const CVekSession* session) {
  auto* const object = session ? static_cast<TSession*>(session->object) : nullptr;
  return object && !object->IsInherited() ? object : nullptr;
}

// Returns the result of `call`, or a reason if there is no session or no memory.
template <class Call>
std::int32_t Ask(const CVekSession* session, Call call) {
  // An event raised inside the call may delete the session.
  const Dstl::wise_ref<TSession> object(Of(session));
  if (!object) return vsr_BadArgument;
  try {
    return call(*object);
  } catch (...) {
    VekApi::Flat::PassForcedUnwind();
    return vsr_NoMemory;
  }
}

void TellApplication(TSession& session, const TSessionConfig& config, const CVekEvent& event) {
  if (!config.onEvent) return;
  CVekSession handle{&session};
  try {
    config.onEvent(&handle, config.user, &event);
  } catch (...) {
    VekApi::Flat::PassForcedUnwind();
  }
}

TSession* Make(const CVekSessionConfig& config, std::int32_t& reason) {
  TSessionConfig own = VekApi::OwnConfig(config);
  own.tell = &TellApplication;
  const auto session = Dstl::make_ref<TSession>(own);
  if (!session->HasDelivery()) {
    reason = vsr_Busy;
    return nullptr;
  }
  session->add_ref();
  return session.get();
}

// The receipt is optional, but if given it must be valid.
template <class Call>
std::int32_t WithReceipt(CVekReceipt* receipt, Call call) {
  if (receipt && receipt->size < kReceiptBytes) return vsr_BadArgument;
  CVekReceipt filled{};
  const std::int32_t reason = call(filled);
  if (receipt) Give(receipt, filled);
  return reason;
}

}  // namespace

void CVekSession_Defaults(CVekSessionConfig* config, uint32_t size) {
  if (!config || size < sizeof config->size) return;
  CVekSessionConfig filled = VekApi::DefaultConfig();
  std::memset(config, 0, size);
  config->size = size;
  Give(config, filled);
}

CVekSession CVekSession_Create(const CVekSessionConfig* config, int32_t* reason) {
  CVekSessionConfig taken{};
  std::int32_t why = Take(config, kConfigBytes, taken) ? VekApi::CheckConfig(taken) : vsr_BadArgument;
  TSession* made = nullptr;
  try {
    if (why == 0) made = Make(taken, why);
  } catch (...) {
    VekApi::Flat::PassForcedUnwind();
    why = vsr_NoMemory;
  }
  if (reason) *reason = why;
  return {made};
}

void CVekSession_Delete(CVekSession* session) {
  TSession* const object = Of(session);
  if (session) session->object = nullptr;
  if (!object) return;
  try {
    object->Delete();
  } catch (...) {
    VekApi::Flat::PassForcedUnwind();
  }
}

int32_t CVekSession_AddEndpoint(CVekSession* session, const char* setting) {
  if (!setting) return vsr_BadArgument;
  return Ask(session, [=](TSession& object) { return object.AddEndpoint(setting); });
}

int32_t CVekSession_AddResync(CVekSession* session, const char* query) {
  if (!query) return vsr_BadArgument;
  return Ask(session, [=](TSession& object) { return object.AddResync(query); });
}

int32_t CVekSession_SetPassword(CVekSession* session, const char* password) {
  return Ask(session, [=](TSession& object) { return object.SetPassword(password ? password : ""); });
}

int32_t CVekSession_Open(CVekSession* session) {
  return Ask(session, [](TSession& object) { return object.Open(); });
}

int32_t CVekSession_RetryIn(CVekSession* session, uint32_t ms) {
  return Ask(session, [=](TSession& object) { return object.RetryIn(ms); });
}

int32_t CVekSession_ResyncDone(CVekSession* session, uint32_t link, bool good) {
  return Ask(session, [=](TSession& object) { return object.ResyncDone(link, good); });
}

void CVekSession_Close(CVekSession* session, uint32_t drainMs) {
  Ask(session, [=](TSession& object) {
    object.Close(drainMs);
    return 0;
  });
}

int32_t CVekSession_Submit(CVekSession* session, const CVekSubmit* request, CVekReceipt* receipt) {
  CVekSubmit taken{};
  if (!Take(request, kSubmitBytes, taken)) return vsr_BadArgument;
  return WithReceipt(receipt, [&](CVekReceipt& filled) {
    return Ask(session, [&](TSession& object) { return object.Submit(taken, filled); });
  });
}

int32_t CVekSession_Withdraw(CVekSession* session, uint64_t ticket) {
  return Ask(session, [=](TSession& object) { return object.Withdraw(ticket); });
}

int32_t CVekSession_ChangePassword(CVekSession* session, const char* user, const char* before,
                                   const char* after, uint64_t tag, CVekReceipt* receipt) {
  if (!user) return vsr_BadArgument;
  return WithReceipt(receipt, [&](CVekReceipt& filled) {
    return Ask(session,
               [&](TSession& object) { return object.ChangePassword(user, before, after, tag, filled); });
  });
}

void CVekSession_NewWorkId(CVekSession* session, char id[32]) {
  if (!id) return;
  *id = '\0';
  if (TSession* const object = Of(session)) object->NewWorkId(id);
}

int32_t CVekSession_SetRate(CVekSession* session, int32_t count, int32_t ms) {
  return Ask(session, [=](TSession& object) { return object.SetRate(count, ms); });
}

int32_t CVekSession_WaitMs(CVekSession* session, int32_t code) {
  TSession* const object = Of(session);
  return object ? object->WaitMs(code) : -1;
}

int32_t CVekSession_Next(CVekSession* session, int32_t timeoutMs, CVekEvent* event) {
  TSession* const object = Of(session);
  if (!object || !event || event->size < kEventBytes) return -1;
  CVekEvent filled{};
  const std::int32_t answer = object->Next(timeoutMs, filled);
  if (answer == 1) Give(event, filled);
  return answer;
}

intptr_t CVekSession_WaitHandle(CVekSession* session) {
  TSession* const object = Of(session);
  return object ? object->WaitHandle() : Dova::Os::TSignal::kNone;
}

bool CVekSession_InCallback(CVekSession* session) {
  const TSession* const object = Of(session);
  return object && object->InCallback();
}

void CVekSession_Stats(CVekSession* session, CVekSessionStats* stats) {
  TSession* const object = Of(session);
  if (!object || !stats || stats->size < kStatsBytes) return;
  CVekSessionStats filled{};
  object->Stats(filled);
  Give(stats, filled);
}

uint32_t CVekSession_RoundTrips(CVekSession* session, int32_t code, uint64_t* counts, uint32_t room) {
  TSession* const object = Of(session);
  return object ? object->RoundTrips(code, counts, counts ? room : 0) : 0;
}

void CVekSession_SetTrace(CVekSession* session, int32_t level) {
  if (TSession* const object = Of(session)) object->SetTrace(level);
}
