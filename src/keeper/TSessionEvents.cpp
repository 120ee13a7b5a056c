// What the server sends once the session is up. Everything here runs inside the client's context.
#include "keeper/TSession.h"
#include "protocol/RequestPrefix.h"

namespace VekApi {

void TSession::OnVekTaskResultEvent(VekClient&, const VekTaskResult& result) {
  const Dstl::wise_ref<TSession> self(this);
  {
    TLock lock(mutex_);
    TLedger::TAnswer answer;
    answer.code = PkTaskResult;
    answer.id = result.WorkID();
    answer.result = &result;
    ledger_.OnResult(answer, NowNs());
    Settle(lock);
  }
  Run();
}

void TSession::OnText(int msgCode, std::string_view text) {
  const Dstl::wise_ref<TSession> self(this);
  if (msgCode == PkReport) return TellAndRun(vse_Report, PkReport, text);
  if (msgCode != PkRequestAck) return TellAndRun(vse_Stray, msgCode, text);
  {
    TLock lock(mutex_);
    ledger_.OnAcks(text, NowNs());
    Settle(lock);
  }
  Run();
}

void TSession::OnVekUnknownMsgCodeEvent(VekClient&, int msgCode, const char* packet, int length) {
  TellAndRun(vse_Stray, msgCode, {packet, static_cast<std::size_t>(length)});
}

void TSession::TellAndRun(int kind, int code, std::string_view text) {
  const Dstl::wise_ref<TSession> self(this);
  {
    TLock lock(mutex_);
    Tell(kind, code, text);
    Settle(lock);
  }
  Run();
}

void TSession::Tell(int kind, int code, std::string_view text) {
  if (kind == vse_Stray) return ledger_.TellStray({code, {}, text, nullptr});
  ledger_.Tell(kind, 0, {code, {}, text, nullptr});
}

void TSession::OnReceived(std::size_t bytes) {
  const TLock lock(mutex_);
  bytesIn_ += bytes;
  link_->silence.Hear(NowNs());
}

// Time spent in a handler does not count as silence of the link.
void TSession::OnReceivedAll() {
  const TLock lock(mutex_);
  link_->silence.Hear(NowNs());
}

void TSession::OnMessageIn(int msgCode, const char* message, std::size_t length) {
  const TLock lock(mutex_);
  ++messagesIn_;
  const std::size_t head = msgCode >= PkTaskResult ? kPrefixBytes : kHeadBytes;
  if (trace_ != 0) Trace(msgCode, 0, {message, length}, head);
}

void TSession::OnMessageOut(int msgCode, const char* message, std::size_t length) {
  const TLock lock(mutex_);
  bytesOut_ += length;
  ++messagesOut_;
  if (trace_ != 0) Trace(msgCode, vsg_Outbound, {message, length}, kHeadBytes);
}

}  // namespace VekApi
