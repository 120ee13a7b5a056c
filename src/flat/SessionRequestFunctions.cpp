// The functions of VekSessionC.h for requests and events.
#include "flat/SessionHandle.h"

using VekApi::TSession;
using VekApi::Flat::Ask;
using VekApi::Flat::Give;
using VekApi::Flat::SessionOf;
using VekApi::Flat::Take;
using VekApi::Flat::WithReceipt;

int32_t CVekSession_Submit(CVekSession* session, const CVekSubmit* request, CVekReceipt* receipt) {
  CVekSubmit taken{};
  if (!Take(request, VekApi::Flat::kSubmitBytes, taken)) return vsr_BadArgument;
  return WithReceipt(receipt, [&](CVekReceipt& filled) {
    return Ask(session, [&](TSession& object) { return object.Submit(taken, filled); });
  });
}

int32_t CVekSession_Withdraw(CVekSession* session, uint64_t ticket) {
  return Ask(session, [=](TSession& object) { return object.Withdraw(ticket); });
}

int32_t CVekSession_Next(CVekSession* session, int32_t timeoutMs, CVekEvent* event) {
  TSession* const object = SessionOf(session);
  if (!object || !event || event->size < VekApi::Flat::kEventBytes) return -1;
  CVekEvent filled{};
  const std::int32_t answer = object->Next(timeoutMs, filled);
  if (answer == 1) Give(event, filled);
  return answer;
}
