#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "platform/runtime/Ref.h"
#include "platform/runtime/TSyncContext.h"
#include "platform/runtime/TTimer.h"
#include "platform/transport/TMesBase.h"
#include "platform/transport/TMesEvHandler.h"
#include "protocol/TPacketParser.h"
#include "session/TImpl.h"
#include "vekapi/VekClient.h"

namespace VekApi {

// One connection, from Connect to whatever ends it: the messenger, what was received and not yet told, the
// heartbeat, the time each stage of the handshake may take. Connect makes one; the next Connect, Disconnect
// or the destructor replaces it.
//
// Counted: timers, senders and events that are on a stack hold the link that they were made for. Inside the
// context and while it is not Over, its client exists and is connected through it.
//
// Everything without another label runs inside the session's context.
class TLink final : public Dstl::ref_counter<unsigned>, public Dova::TMesEvHandler, private TPacketEvents {
 public:
  TLink(VekClient& client, VekClient::TImpl& impl);

  // Whether it goes on no longer: it has ended, or the client is about to replace it; the client may then be
  // gone. What comes late asks once it is inside the context. Any thread.
  bool Over() const override { return over_.load(std::memory_order_acquire); }

  // True for the one call that makes it so. Any thread.
  bool SetOver() { return !over_.exchange(true); }

  // Makes a messenger from the setting and opens it. Null, or an error text. Events may come from inside.
  const char* Open(const std::string& setting, const std::string& apName, const std::string& apVersion);

  // Ends the link, whoever found out: closes the messenger and raises the connect event. Nothing when it is
  // over already, or somebody else replaces it meanwhile.
  void End(EVekClientState state, const std::string& reason);

  // Ends it without an event. Waits for threads of the messenger unless it is called from inside an event of
  // theirs; any number of times.
  void Close();

  bool IsOf(const VekClient& client) const { return &client == &client_; }
  const Dstl::wise_ref<Dova::TMesBase>& Mes() const { return mes_; }

  // The next stage of the handshake may take its time from now on; any other state ends the waiting.
  void OnState(EVekClientState state);

  // Puts the heartbeat off. Any thread.
  void OnSent() { heartbeat_.Start(kHeartbeatMs); }

  // Received bytes, which are descrambled in place. Throws std::bad_alloc.
  void ParsePacket(char* block, unsigned length);
  void ForgetReceived();

  void OnMesLinkReady(Dova::TMesBase* mes) override;
  void OnMesLinkError(Dova::TMesBase* mes, const std::string& reason) override;
  void OnMesLinkBroken(Dova::TMesBase* mes, const std::string& reason) override;
  void OnMesRecvReady(Dova::TMesBase* mes) override;

 private:
  static constexpr unsigned kHeartbeatMs = 30'000;
  static constexpr unsigned kStageMs = 45'000;
  static constexpr int kBytesAtOnce = 256 * 1024;

  ~TLink() override = default;

  const char* MesOpen(const std::string& setting);
  void MesClose();
  void ReceiveByCopy(Dova::TMesBase& mes);

  void OnPkConnectResult(const char* packet, int length) override;
  void OnPkSession(const char* packet, int length) override;
  void OnMessage(int msgCode, const char* message, std::size_t length) override;
  void OnStreamBroken(const char* reason) override { End(vcs_LinkBroken, reason); }
  void OnSgnReply(const char* packet, int length);
  void OnChgPassResult(const char* packet, int length);
  void OnTaskResult(const char* message, std::size_t length);
  void OnSgnResult(const VekTaskResult& result);
  void OnText(int msgCode, const char* message, std::size_t length);

  // Timer threads, outside the context.
  void OnHeartbeatTimer() { OnTimer(&TLink::CheckHeartbeat); }
  void OnOpenTimer() { OnTimer(&TLink::EndUnopened); }
  void OnHelloTimer() { OnTimer(&TLink::TellUnknownServer); }
  void OnSignOnTimer() { OnTimer(&TLink::EndUnsigned); }
  void OnTimer(void (TLink::*check)());

  void CheckHeartbeat();
  void EndUnopened();
  void TellUnknownServer();
  void EndUnsigned();

  VekClient& client_;
  VekClient::TImpl& impl_;
  const Dstl::wise_ref<Dova::TSyncContext> context_;
  std::atomic<bool> over_{false};
  TPacketParser packets_{*this};
  std::unique_ptr<VekTaskResult> spareResult_;
  std::string spareText_;
  std::string helloPk_;  // the connect request
  Dstl::wise_ref<Dova::TMesBase> mes_;
  std::atomic<unsigned> recvCount_{0};  // receive events since the heartbeat last looked
  // Last: their destruction waits for an expiry that is just finding out that the link is gone.
  Dova::TTimer<TLink> heartbeat_;
  Dova::TTimer<TLink> stage_;
};

}  // namespace VekApi
