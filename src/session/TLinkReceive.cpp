// Received bytes and the messages in them.
#include <algorithm>
#include <new>
#include <utility>

#include "protocol/RequestPrefix.h"
#include "session/TLink.h"
#include "session/TLinkWatch.h"
#include "session/TTextHandler.h"
#include "session/Texts.h"
#include "vekapi/VekSessionC.h"
#include "vekapi/VekTaskResult.h"

namespace VekApi {
namespace {

constexpr std::size_t kKeepBytes = 4096;  // of one event's text, until the next event

}  // namespace

void TLink::OnMesRecvReady(Dova::TMesBase* mes) {
  const Dstl::wise_ref<TLink> self(this);
  if (Over()) return;
  bool received = true;
  try {
    int count = 0;
    if (char* block = mes->RecvInPlace(count)) {
      ParsePacket(block, static_cast<unsigned>(count));
    } else {
      received = ReceiveByCopy(*mes);
    }
  } catch (const std::bad_alloc&) {
    End(vcs_LinkBroken, kTextNoMemory, vsr_NoMemory);
  }
  // An event without bytes is no sign of the server: a gateway may set its events for nothing.
  heard_ |= received;
  if (Over()) return;
  if (TLinkWatch* const watch = impl_.Watch()) watch->OnReceivedAll();
}

// A bounded amount: other threads may be waiting for the context, and the messenger calls again. False if
// there was nothing.
bool TLink::ReceiveByCopy(Dova::TMesBase& mes) {
  char buffer[65536];  // the last byte is never received
  int left = kBytesAtOnce;
  while (left > 0 && !Over()) {
    const int count = mes.Recv(buffer, std::min(left, static_cast<int>(sizeof buffer - 1)));
    if (count <= 0) break;
    ParsePacket(buffer, static_cast<unsigned>(count));
    left -= count;
  }
  return left < kBytesAtOnce;
}

void TLink::ParsePacket(char* block, unsigned length) {
  if (Over()) return;
  if (TLinkWatch* const watch = impl_.Watch()) watch->OnReceived(length);
  if (!looked_ && !LooksRight({block, length})) return;
  packets_.Parse(block, length);
}

void TLink::OnStreamBroken(const char* reason) {
  End(vcs_LinkBroken, reason, reason == TPacketParser::kMessageTooLong ? vsr_LongMessage : vsr_BadStream);
}

void TLink::ForgetReceived() {
  packets_.Clear();
  spareResult_.reset();
  spareText_.reset();
}

void TLink::OnMessage(int msgCode, char* message, std::size_t length) {
  if (TLinkWatch* const watch = impl_.Watch()) watch->OnMessageIn(msgCode, message, length);
  switch (msgCode) {
    case PkTaskResult:
      return OnTaskResult(message, length);
    case PkRequestAck:
    case PkRequestAck2:
    case PkReport:
      return OnText(msgCode, message, length);
    default:
      return client_.OnVekUnknownMsgCodeEvent(msgCode, message, static_cast<int>(length));
  }
}

void TLink::OnText(int msgCode, char* message, std::size_t length) {
  const std::size_t at = std::min<std::size_t>(length, kPrefixBytes);
  const std::string_view text(message + at, length - at);
  TTextHandler* const handler = impl_.TextHandler();
  if (!handler) return OnTextCopy(msgCode, text);
  const char next = std::exchange(message[length], '\0');
  handler->OnText(msgCode, text);
  message[length] = next;
}

// The copy is moved out of the link during the event, and its memory is reused for the next one.
void TLink::OnTextCopy(int msgCode, std::string_view received) {
  std::unique_ptr<std::string> text = spareText_ ? std::move(spareText_) : std::make_unique<std::string>();
  text->clear();
  text->append(received);  // inlined, unlike assign
  if (msgCode == PkReport) {
    client_.OnVekReportEvent(*text);
  } else {
    client_.OnVekRequestAckEvent(msgCode, *text);
  }
  if (!Over() && text->capacity() <= kKeepBytes) spareText_ = std::move(text);
}

void TLink::OnTaskResult(const char* message, std::size_t length) {
  std::unique_ptr<VekTaskResult> result =
      spareResult_ ? std::move(spareResult_) : std::make_unique<VekTaskResult>();
  if (!result->Parse(message, static_cast<unsigned>(length), packets_.Cipher().Endian(), over_)) return;
  if (result->WorkID() == "Sgn.Result") {
    OnSgnResult(*result);
  } else {
    client_.OnVekTaskResultEvent(*result);
  }
  if (Over()) return;
  if (length > kKeepBytes) result->Clear();
  spareResult_ = std::move(result);
}

}  // namespace VekApi
