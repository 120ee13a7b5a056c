#include "session/TLink.h"

#include <algorithm>
#include <new>
#include <utility>

#include "platform/runtime/TTimerQueue.h"
#include "platform/transport/TMesRegs.h"
#include "protocol/ConnectRequest.h"
#include "protocol/Packet.h"
#include "session/TLinkWatch.h"
#include "session/Texts.h"
#include "shmem/TShMemCli.h"
#include "vekapi/VekSessionC.h"
#include "vekapi/VekTaskResult.h"

namespace VekApi {
namespace {

// "HOST:PORT" is TCP with Nagle's algorithm disabled; after a leading colon any kind may be named.
std::string MessengerText(const std::string& setting) {
  return !setting.empty() && setting[0] == ':' ? setting.substr(1) : "TCPClient:" + setting + " n M0";
}

// The built-in kinds and shared memory. Never destroyed: sessions may be opened while the process ends.
const Dova::TMesRegs& SessionMesRegs() {
  static const Dova::TMesRegs& regs = *[] {
    auto* made = new Dova::TMesRegs(Dova::TMesRegs::GetClientMesRegs());
    made->Register("ShMemCli", &Dova::TShMemCli::Make);
    return made;
  }();
  return regs;
}

}  // namespace

TLink::TLink(VekClient& client, VekClient::TImpl& impl)
    : client_(client),
      impl_(impl),
      context_(impl.Context()),
      number_(impl.NextLinkNumber()),
      packets_(*this, over_, impl.Tap().On()),
      heartbeat_(Dova::ots_OneShot, *this),
      stage_(Dova::ots_OneShot, *this) {
  heartbeat_.SetTarget(&TLink::OnHeartbeatTimer);
}

const char* TLink::Open(const std::string& setting, const std::string& apName, const std::string& apVersion) {
  if (!TapState(vcs_Connecting, setting)) return nullptr;
  if (!MakeConnectRequest(connectPk_, apName, apVersion)) {
    impl_.SetWhy(vsr_BadApName);
    return kTextBadApName;
  }
  return MesOpen(setting);
}

const char* TLink::MesOpen(const std::string& setting) {
  std::string refused;
  const auto mes = SessionMesRegs().CreateMes(MessengerText(setting), &refused);
  if (setting.find_first_not_of(' ') == std::string::npos) refused.clear();  // show only what the user wrote
  if (!mes) {
    impl_.SetWhy(vsr_BadSetting, refused.empty() ? "something is missing in the setting"
                                                 : "not understood in the setting: \"" + refused + "\"");
    return kTextBadSetting;
  }
  mes_ = mes;
  packets_.SetMaxMessage(mes->MaxMessageBytes());
  stage_.Start(&TLink::OnOpenTimer, static_cast<unsigned>(mes->LinkTimeoutMs()));
  // Without timers nobody would end a link to a silent server.
  const bool timeless = Dova::TTimerQueue::Current().IsStuck();
  mes->SetSyncContext(context_);
  mes->SetEvHandler(this);
  if (!timeless && mes->Open()) return nullptr;
  impl_.SetWhy(vsr_NoThread,
               timeless ? "no thread for timers could be started" : "the link's thread could not be started");
  return kTextBadSetting;
}

void TLink::MesClose() {
  const auto mes = std::exchange(mes_, {});
  if (!mes) return;
  mes->SetEvHandler(nullptr);
  mes->Close();
}

void TLink::Close() {
  heartbeat_.Stop();
  stage_.Stop();
  impl_.Silence(*this);
  ForgetReceived();
  MesClose();
}

// Checked after the wait in Close, during which window messages may have caused another call.
void TLink::End(EVekClientState state, const std::string& reason, int why, std::string_view detail) {
  const Dstl::wise_ref<TLink> self(this);
  if (Over()) return;
  Close();
  if (Over()) return;
  // After a refused sign-on, that refusal is a better reason than the server's closing of the link.
  const bool refused = state == vcs_LinkBroken && client_.State() == vcs_SgnError;
  if (!refused) impl_.SetWhy(why, detail.empty() ? std::string_view(reason) : detail);
  TapEnd(state, reason);
  if (SetOver()) client_.OnVekConnectEvent(state, reason);
}

// ---- the messenger's events ----

// A messenger may deliver the answer before its Send returns, so the state must be ready before sending.
void TLink::OnMesLinkReady(Dova::TMesBase* mes) {
  const Dstl::wise_ref<TLink> self(this);
  if (Over()) return;
  stage_.Start(&TLink::OnConnectTimer, kStageMs);
  OnSent();
  if (TLinkWatch* const watch = impl_.Watch()) {
    watch->OnLinked(mes_);
    watch->OnMessageOut(PkConnect, connectPk_.data(), connectPk_.size());
  }
  if (!TapOwn(connectPk_)) return;
  mes->Send(connectPk_.data(), static_cast<int>(connectPk_.size()));
  if (Over()) return;
  heard_ = false;
  try {
    impl_.LetSend(*this);
  } catch (const std::bad_alloc&) {
    End(vcs_LinkBroken, kTextNoMemory, vsr_NoMemory);
  }
}

void TLink::OnMesLinkError(Dova::TMesBase* mes, const std::string& reason) {
  End(vcs_LinkError, reason, ReasonOf(vcs_LinkError, mes->EndCause(), reason));
}

void TLink::OnMesLinkBroken(Dova::TMesBase* mes, const std::string& reason) {
  End(vcs_LinkBroken, reason, ReasonOf(vcs_LinkBroken, mes->EndCause(), reason));
}

// ---- time ----

void TLink::OnState(EVekClientState state) {
  if (state == vcs_Connected) {
    stage_.Start(&TLink::OnSignOnTimer, kStageMs);
  } else {
    stage_.Stop();
  }
}

void TLink::OnTimer(void (TLink::*check)()) {
  const auto self = Dstl::wise_ref<TLink>::try_hold(this);
  if (!self) return;
  const Dova::TSyncScope inside(context_);
  if (!inside || Over()) return;
  try {
    (this->*check)();
  } catch (const std::bad_alloc&) {
    End(vcs_LinkBroken, kTextNoMemory, vsr_NoMemory);
  }
}

// The messenger stays open in every case: the application decides what to do.
void TLink::CheckHeartbeat() {
  if (client_.State() < vcs_Connected && client_.State() != vcs_SgnError) return TellUnknownServer();
  if (!std::exchange(heard_, false))
    return client_.OnVekConnectEvent(vcs_HeartbeatTimeout, kTextHeartbeatTimeout);
  if (spareResult_) spareResult_->ReleaseMemory();  // nothing was sent for a while
  char heartbeat[kHeadBytes];
  PutHead(heartbeat, PkHeartbeat, kHeadBytes);
  if (TLinkWatch* const watch = impl_.Watch()) watch->OnMessageOut(PkHeartbeat, heartbeat, kHeadBytes);
  if (!TapOwn({heartbeat, kHeadBytes})) return;
  mes_->Send(heartbeat, kHeadBytes);
  OnSent();
}

void TLink::EndUnopened() {
  if (client_.State() == vcs_Connecting) End(vcs_LinkError, kTextConnectTimeout, vsr_ConnectTimeout);
}

void TLink::TellUnknownServer() {
  if (client_.State() < vcs_Connected) client_.OnVekConnectEvent(vcs_UnknownServer, kTextUnknownServer);
}

void TLink::EndUnsigned() {
  if (client_.State() == vcs_Connected) End(vcs_LinkBroken, kTextSignOnTimeout, vsr_SignOnTimeout);
}

}  // namespace VekApi
