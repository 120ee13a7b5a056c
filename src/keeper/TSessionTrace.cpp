// Traces messages and packets as events. Messages are traced where they are counted anyway; packets come from
// a tap of the client.
#include <algorithm>
#include <new>
#include <utility>

#include "keeper/PacketWords.h"
#include "keeper/TSession.h"
#include "keeper/TraceFlags.h"
#include "protocol/RequestPrefix.h"

namespace VekApi {

// Something always keeps the session alive during a call: one of the client's events, or the sender.
class TSession::TTap final : public TPacketTap {
 public:
  explicit TTap(TSession& session) : session_(session) {}

 private:
  // Without memory the packet is not traced.
  void OnPacket(const TTapped& tapped) override try {
    session_.TellTapped(tapped, words_.Of(tapped.packet, tapped.fromServer, tapped.order));
  } catch (const std::bad_alloc&) {  // NOLINT(bugprone-empty-catch)
  }
  void OnNote(std::uint32_t, std::string_view note) override try {
    session_.TellTrace(vsg_Outbound, 0, {}, std::string(note));
  } catch (const std::bad_alloc&) {  // NOLINT(bugprone-empty-catch)
  }
  // The session reports its own states.
  void OnLinkState(std::uint32_t, EVekClientState, std::string_view) override {}

  TSession& session_;
  TPacketWords words_;
};

void TSession::SetTrace(int level) {
  const bool packets = level >= vtl_Packets;
  const auto tap = packets ? Dstl::make_ref<TTap>(*this) : Dstl::wise_ref<TTap>();
  {
    const TLock lock(mutex_);
    trace_ = packets ? vtl_None : std::max(level, 0);
  }
  Impl().Tap().Set(tap);
}

void TSession::TellTapped(const TTapped& tapped, std::string words) {
  TellTrace(TraceFlags(tapped), PkCode(tapped.packet.data()), tapped.packet, std::move(words));
}

void TSession::TellTrace(std::uint32_t flags, int code, std::string_view bytes, std::string detail) {
  const TLock lock(mutex_);
  if (IsDead()) return;
  ledger_.Tell(vse_Trace, flags, {code, {}, bytes, nullptr}).detail = std::move(detail);
  Notify();
}

// ---- messages ----

void TSession::Trace(int msgCode, std::uint32_t flags, std::string_view bytes, std::size_t head) {
  const std::size_t skipped = std::min(head, bytes.size());
  const std::string_view body = trace_ > vtl_Heads ? bytes.substr(skipped) : std::string_view();
  TNews& event = ledger_.Tell(vse_Trace, flags, {msgCode, {}, body, nullptr});
  event.detail = std::to_string(bytes.size()) + " bytes";
}

// A message that is Going must be sent; without memory it is not traced.
void TSession::TraceTaken() noexcept try {
  if (message_.code != PkSession) Trace(message_.code, vsg_Outbound, message_.buffer, kPrefixBytes);
} catch (const std::bad_alloc&) {  // NOLINT(bugprone-empty-catch)
}

}  // namespace VekApi
