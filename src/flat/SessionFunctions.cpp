// The functions of VekSessionC.h that operate on a session, except those of SessionRequestFunctions.cpp.
#include <cstring>

#include "flat/SessionHandle.h"
#include "platform/os/Process.h"

using VekApi::TSession;
using VekApi::TSessionConfig;
using VekApi::Flat::Ask;
using VekApi::Flat::Give;
using VekApi::Flat::PassForcedUnwind;
using VekApi::Flat::SessionOf;
using VekApi::Flat::Take;
using VekApi::Flat::WithReceipt;

namespace {

void TellApplication(TSession& session, const TSessionConfig& config, const CVekEvent& event) {
  if (!config.onEvent) return;
  CVekSession handle{&session};
  try {
    config.onEvent(&handle, config.user, &event);
  } catch (...) {
    PassForcedUnwind();
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
  std::int32_t why =
      Take(config, VekApi::Flat::kConfigBytes, taken) ? VekApi::CheckConfig(taken) : vsr_BadArgument;
  TSession* made = nullptr;
  try {
    if (why == 0) made = Make(taken, why);
  } catch (...) {
    PassForcedUnwind();
    why = vsr_NoMemory;
  }
  if (reason) *reason = why;
  return {made};
}

void CVekSession_Delete(CVekSession* session) {
  TSession* const object = SessionOf(session);
  if (session) session->object = nullptr;
  if (!object) return;
  try {
    object->Delete();
  } catch (...) {
    PassForcedUnwind();
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
  if (TSession* const object = SessionOf(session)) object->NewWorkId(id);
}

int32_t CVekSession_SetRate(CVekSession* session, int32_t count, int32_t ms) {
  return Ask(session, [=](TSession& object) { return object.SetRate(count, ms); });
}

int32_t CVekSession_WaitMs(CVekSession* session, int32_t code) {
  TSession* const object = SessionOf(session);
  return object ? object->WaitMs(code) : -1;
}

intptr_t CVekSession_WaitHandle(CVekSession* session) {
  TSession* const object = SessionOf(session);
  return object ? object->WaitHandle() : Dova::Os::TSignal::kNone;
}

bool CVekSession_InCallback(CVekSession* session) {
  const TSession* const object = SessionOf(session);
  return object && object->InCallback();
}

void CVekSession_Stats(CVekSession* session, CVekSessionStats* stats) {
  TSession* const object = SessionOf(session);
  if (!object || !stats || stats->size < VekApi::Flat::kStatsBytes) return;
  CVekSessionStats filled{};
  object->Stats(filled);
  Give(stats, filled);
}

uint32_t CVekSession_RoundTrips(CVekSession* session, int32_t code, uint64_t* counts, uint32_t room) {
  TSession* const object = SessionOf(session);
  return object ? object->RoundTrips(code, counts, counts ? room : 0) : 0;
}

void CVekSession_SetTrace(CVekSession* session, int32_t level) {
  if (TSession* const object = SessionOf(session)) object->SetTrace(level);
}
