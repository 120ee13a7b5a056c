#include "SessionEvents.h"

#include <fmt/core.h>

#include <cstdio>
#include <sstream>

#include "Terminal.h"

namespace {

const char* NameOf(VekApi::EVekClientState state) {
  switch (state) {
    case VekApi::vcs_HeartbeatTimeout:
      return "heartbeat timeout";
    case VekApi::vcs_ConnectError:
      return "refused by the server";
    case VekApi::vcs_SgnError:
      return "sign-on refused";
    case VekApi::vcs_UnknownServer:
      return "no answer to the connect request";
    case VekApi::vcs_LinkBroken:
      return "link broken";
    case VekApi::vcs_LinkError:
      return "link not opened";
    case VekApi::vcs_Disconnected:
      return "disconnected";
    case VekApi::vcs_None:
      return "new";
    case VekApi::vcs_Connecting:
      return "connecting";
    case VekApi::vcs_Connected:
      return "connected, signing on";
    case VekApi::vcs_ApReady:
      return "ready";
  }
  return "unknown state";
}

// One call, so that lines of different threads are not interleaved.
void Say(const char* event, const std::string& text) {
  fmt::print("[{:<8}] {}\n", event, text);
  std::fflush(stdout);
}

}  // namespace

SessionSeen SessionEvents::Seen() {
  const std::lock_guard lock(mutex_);
  return seen_;
}

void SessionEvents::Forget() {
  const std::lock_guard lock(mutex_);
  seen_ = {};
}

void SessionEvents::OnVekConnectEvent(VekApi::VekClient& client, const std::string& reason) {
  const VekApi::EVekClientState state = client.State();
  std::string text = fmt::format("{} ({})", NameOf(state), static_cast<int>(state));
  if (!client.ServerName().empty()) text += ", server " + ToUtf8(client.ServerName());
  if (!reason.empty()) text += ": " + ToUtf8(reason);
  Say("connect", text);
  Update([&](SessionSeen& seen) { seen.state = state; });
}

void SessionEvents::OnVekApReadyEvent(VekApi::VekClient& client) {
  Say("ready", "signed on");
  Update([&](SessionSeen& seen) {
    seen.state = client.State();
    seen.signOn = client.SgnResult();
  });
}

void SessionEvents::OnVekTaskResultEvent(VekApi::VekClient&, const VekApi::VekTaskResult& result) {
  Say("result", fmt::format("{}: {} tables, {} bytes", ToUtf8(result.WorkID()), result.TableCount(),
                            result.OrigResult().size()));
  Update([&](SessionSeen& seen) { seen.results.insert_or_assign(result.WorkID(), result); });
}

void SessionEvents::OnVekChgPassResultEvent(VekApi::VekClient&, const std::string& user,
                                            const std::string& resultText) {
  Say("password", ToUtf8(user) + ": " + ToUtf8(resultText));
  Update([&](SessionSeen& seen) { seen.passwordResult = resultText; });
}

void SessionEvents::OnVekRequestAckEvent(VekApi::VekClient&, int msgCode, const std::string& ackText) {
  Say("ack", fmt::format("{}: {}", msgCode, ToUtf8(ackText)));
  if (gate_ != nullptr) gate_->VekAckParser(msgCode, ackText);
  if (msgCode != 129) return;
  Update([&](SessionSeen& seen) {
    std::istringstream lines(ackText);
    const std::size_t before = seen.acks.size();
    for (std::string line; std::getline(lines, line);) seen.acks.push_back(line);
    seen.ackLines.push_back(seen.acks.size() - before);
  });
}

void SessionEvents::OnVekReportEvent(VekApi::VekClient&, const std::string& reportText) {
  Say("report", ToUtf8(reportText));
  Update([&](SessionSeen& seen) { seen.reports.push_back(reportText); });
}

void SessionEvents::OnVekClientDestroyEvent(VekApi::VekClient&) {
  Say("destroy", "the client is going");
}
