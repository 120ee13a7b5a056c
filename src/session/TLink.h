#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <string_view>

#include "platform/runtime/Ref.h"
#include "platform/runtime/TSyncContext.h"
#include "platform/runtime/TTimer.h"
#include "platform/transport/TMesBase.h"
#include "platform/transport/TMesEvHandler.h"
#include "protocol/TPacketParser.h"
#include "session/TImpl.h"
#include "vekapi/VekClient.h"

namespace VekApi {

// One connection, from Connect to its end: the messenger, received data not yet delivered, the heartbeat, the
// deadline of each handshake stage. Connect creates one; the next Connect, Disconnect or the destructor
// replaces it.
//
// Reference-counted: timers, senders and events on a stack hold their link. Inside the context, and while the
// link is not Over, its client exists and is connected through it.
//
// Unless labelled otherwise, functions run inside the session's context.
class TLink final : public Dstl::ref_counter<unsigned>, public Dova::TMesEvHandler, private TPacketEvents {
 public:
  TLink(VekClient& client, VekClient::TImpl& impl);

  // True once the link has ended or the client is about to replace it; the client may then be destroyed. Late
  // callbacks must check it after entering the context. Thread-safe.
  bool Over() const { return over_.load(std::memory_order_acquire); }

  // True for the first call only. Thread-safe.
  bool SetOver() { return !over_.exchange(true); }

  // Creates a messenger from the setting and opens it. Returns null, or an error text. Events may be raised
  // inside.
  const char* Open(const std::string& setting, const std::string& apName, const std::string& apVersion);

  // Ends the link: closes the messenger and raises the connect event. Does nothing if the link is already
  // over or is being replaced. `why` is vsr_...; if `detail` is empty, the reason is used instead.
  void End(EVekClientState state, const std::string& reason, int why, std::string_view detail = {});

  // Ends the link without an event. Waits for the messenger's threads unless called inside one of their
  // events. May be called repeatedly.
  void Close();

  // The client's links are numbered from 1. Thread-safe.
  std::uint32_t Number() const { return number_; }
  bool IsOf(const VekClient& client) const { return &client == &client_; }
  const Dstl::wise_ref<Dova::TMesBase>& Mes() const { return mes_; }

  // ---- to the tap (TLinkTap.cpp); the first three thread-safe ----

  // Shows packets about to be sent, not yet scrambled. Bytes that form no packet are only noted, because they
  // might contain a password.
  void TapSent(const TCipher& cipher, std::string_view bytes) noexcept;
  // The same for a text, split into as many packets as it needs.
  void TapRequest(const TCipher& cipher, int msgCode, std::string_view text) noexcept;
  // The messenger did not accept what was shown last.
  void TapRefused() noexcept;
  // False if the link is over afterwards; its client may then be gone.
  bool TapState(EVekClientState state, std::string_view reason);
  // Only the first call has an effect.
  void TapEnd(EVekClientState state, std::string_view reason);

  // Starts the deadline of the next handshake stage; any other state stops it.
  void OnState(EVekClientState state);

  // Postpones the heartbeat. Thread-safe.
  void OnSent() { heartbeat_.Postpone(kHeartbeatMs); }

  // Parses received bytes, descrambling them in place. For a text handler, the byte after them is overwritten
  // and restored. Throws std::bad_alloc. The caller holds a reference.
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
  bool ReceiveByCopy(Dova::TMesBase& mes);

  void OnPacket(const char* packet, int length) override;
  void OnPkConnectResult(const char* packet, int length) override;
  void OnPkSession(const char* packet, int length) override;
  void OnMessage(int msgCode, char* message, std::size_t length) override;
  void OnStreamBroken(const char* reason) override;
  bool LooksRight(std::string_view block);
  void OnSgnReply(const char* packet, int length);
  void OnChgPassResult(const char* packet, int length);
  void OnTaskResult(const char* message, std::size_t length);
  void OnSgnResult(const VekTaskResult& result);
  void OnText(int msgCode, char* message, std::size_t length);
  void OnTextCopy(int msgCode, std::string_view text);

  // On timer threads, outside the context.
  void OnHeartbeatTimer() { OnTimer(&TLink::CheckHeartbeat); }
  void OnOpenTimer() { OnTimer(&TLink::EndUnopened); }
  void OnConnectTimer() { OnTimer(&TLink::TellUnknownServer); }
  void OnSignOnTimer() { OnTimer(&TLink::EndUnsigned); }
  void OnTimer(void (TLink::*check)());

  ERecordOrder OrderOf(const TCipher& cipher) const;
  bool TapOne(ERecordOrder order, bool fromServer, std::string_view packet);
  // For packets that the link itself sends.
  bool TapOwn(std::string_view packet);

  void CheckHeartbeat();
  void EndUnopened();
  void TellUnknownServer();
  void EndUnsigned();

  VekClient& client_;
  VekClient::TImpl& impl_;
  const Dstl::wise_ref<Dova::TSyncContext> context_;
  const std::uint32_t number_;
  std::string start_;  // of the server's stream, while it might be another protocol
  bool looked_ = false;
  std::atomic<bool> over_{false};
  bool endTapped_ = false;
  std::atomic<bool> knowsOrder_{false};  // true once the connect result has arrived
  TPacketParser packets_;
  std::unique_ptr<VekTaskResult> spareResult_;
  std::unique_ptr<std::string> spareText_;
  std::string connectPk_;  // the connect request
  Dstl::wise_ref<Dova::TMesBase> mes_;
  bool heard_ = false;  // bytes have arrived since the last heartbeat check
  // Last members: their destruction waits for a running expiry, which may find the link gone.
  Dova::TTimer<TLink> heartbeat_;
  Dova::TTimer<TLink> stage_;
};

}  // namespace VekApi
