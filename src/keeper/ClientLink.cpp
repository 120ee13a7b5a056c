#include "keeper/ClientLink.h"

#include <chrono>
#include <new>
#include <string>
#include <utility>

#include "keeper/PacketWords.h"
#include "keeper/TraceFlags.h"
#include "keeper/Words.h"
#include "platform/os/Clock.h"
#include "session/TImpl.h"
#include "vekapi/VekLink.h"

namespace VekApi {
namespace {

int StateOf(EVekClientState state) {
  switch (state) {
    case vcs_Connecting:
      return vss_Connecting;
    case vcs_Connected:
      return vss_SigningOn;
    case vcs_ApReady:
      return vss_Up;
    case vcs_SgnError:
      return vss_Refused;
    case vcs_Disconnected:
      return vss_Closed;
    default:
      return vss_Stopped;
  }
}

// Traces a client that belongs to no session.
class TClientTap final : public TPacketTap {
 public:
  TClientTap(VekClient& client, TTellTrace tell, int level)
      : client_(client), tell_(std::move(tell)), level_(level) {}

 private:
  void OnPacket(const TTapped& tapped) override try {
    CVekEvent event = Event(vse_Trace, tapped.link);
    event.code = PkCode(tapped.packet.data());
    event.flags = TraceFlags(tapped);
    if (level_ == vtl_Heads) {
      event.flags &= ~std::uint32_t{vsg_Packet};
      return Tell(event, {}, std::to_string(tapped.packet.size()) + " bytes");
    }
    Tell(event, tapped.packet, words_.Of(tapped.packet, tapped.fromServer, tapped.order));
  } catch (const std::bad_alloc&) {  // NOLINT(bugprone-empty-catch): the packet is not traced
  }

  void OnNote(std::uint32_t link, std::string_view note) override try {
    CVekEvent event = Event(vse_Trace, link);
    event.flags = vsg_Outbound;
    Tell(event, {}, std::string(note));
  } catch (const std::bad_alloc&) {  // NOLINT(bugprone-empty-catch)
  }

  void OnLinkState(std::uint32_t link, EVekClientState state, std::string_view reason) override try {
    CVekEvent event = Event(vse_State, link);
    event.state = StateOf(state);
    const TWhy why = TClientParts::ImplOf(client_).Why();
    event.cause = why.reason;
    event.reason = BroadReason(why.reason);
    Tell(event, {}, why.reason != 0 ? why.detail : std::string(reason));
  } catch (const std::bad_alloc&) {  // NOLINT(bugprone-empty-catch)
  }

  static CVekEvent Event(int kind, std::uint32_t link) {
    CVekEvent event{};
    event.size = sizeof event;
    event.kind = kind;
    event.link = link;
    event.atNs = Dova::Os::MonotonicNs();
    event.unixNs = std::chrono::duration_cast<std::chrono::nanoseconds>(
                       std::chrono::system_clock::now().time_since_epoch())
                       .count();
    return event;
  }

  // The application expects NUL-terminated texts, so `text` is copied.
  void Tell(CVekEvent& event, std::string_view text, const std::string& detail) {
    const std::string bytes(text);
    event.workId = "";
    event.text = bytes.c_str();
    event.textLength = static_cast<std::uint32_t>(bytes.size());
    event.detail = detail.c_str();
    tell_(client_, event);
  }

  VekClient& client_;
  const TTellTrace tell_;
  const int level_;
  TPacketWords words_;
};

}  // namespace

void SetClientTrace(VekClient& client, TTellTrace tell, int level) {
  TClientParts::TImpl& impl = TClientParts::ImplOf(client);
  if (impl.Context()->IsInherited()) return;
  TPacketTapRef tap;
  if (tell && level > vtl_None) tap = Dstl::make_ref<TClientTap>(client, std::move(tell), level);
  impl.Tap().Set(tap);
}

std::int32_t VekLink::Reason(const VekClient& client) {
  return TClientParts::ImplOf(client).Why().reason;
}

std::string VekLink::Detail(const VekClient& client) {
  return TClientParts::ImplOf(client).Why().detail;
}

void VekLink::SetTrace(VekClient& client, VekTraceHandler* handler, std::int32_t level) {
  TTellTrace tell;
  if (handler) {
    tell = [handler](VekClient& traced, const CVekEvent& event) { handler->OnVekTraceEvent(traced, event); };
  }
  SetClientTrace(client, std::move(tell), level);
}

}  // namespace VekApi
