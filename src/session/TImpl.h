// What stands between a client and its messenger.
#pragma once

#include <atomic>
#include <mutex>
#include <string>
#include <vector>

#include "platform/mbus/Ref.h"
#include "platform/mbus/TCoreRun.h"
#include "platform/mbus/TFlowCtrl.h"
#include "platform/mbus/TMesBase.h"
#include "platform/mbus/TMesEvHandler.h"
#include "platform/mbus/TSyncContext.h"
#include "platform/mbus/TTimer.h"
#include "vekapi/VekClient.h"

namespace VekApi {

// The messenger's events, the heartbeat, and the sending of packets; how the messenger is made and dropped is
// the derived class's.
//
// Counted: the clients that share it hold a reference each, and so does every event that is on a stack. A
// deleted client leaves no client behind here; such an event notices that and unwinds.
//
// Everything without another label runs inside the session's context.
template <class TMesEvHandlerT>
class VekClient_nsImpl : public Dstl::ref_counter<unsigned>, public TMesEvHandlerT {
 public:
  explicit VekClient_nsImpl(VekClient* client);

  const Dstl::wise_ref<Dova::TSyncContext>& Context() const { return context_; }  // any thread
  static const Dstl::wise_ref<Dova::TSyncContext>& ContextOf(const VekClient& client);

  // Owners: the eldest gets the events. RemoveOwner is true when none is left.
  void AddOwner(VekClient* client) { owners_.push_back(client); }
  bool RemoveOwner(VekClient* client);

  // Changes whenever a link is dropped or an owner goes. Tells a call that had to wait, or raised an event,
  // that another one has overtaken it.
  unsigned Epoch() const { return epoch_; }

  // Builds the connect request and opens a messenger. Null, or an error text.
  const char* OpenSession(const std::string& setting, const std::string& apName,
                          const std::string& apVersion);

  // Stops the heartbeat and drops the messenger, waiting for its threads; no event of it comes afterwards.
  void CloseSession();

  // Sends a finished packet, or several, and puts the heartbeat off. True when the messenger took everything.
  // Any thread.
  bool SendMes(const char* packets, int length);
  bool SendMes(Dova::TMesBase& mes, const char* packets, int length);

  Dova::TFlowCtrl& FlowCtrl() { return flowCtrl_; }  // any thread

  void OnMesLinkReady(Dova::TMesBase* mes) override;
  void OnMesLinkError(Dova::TMesBase* mes, const std::string& reason) override;
  void OnMesLinkBroken(Dova::TMesBase* mes, const std::string& reason) override;
  void OnMesRecvReady(Dova::TMesBase* mes) override;

  ~VekClient_nsImpl() override = default;

  virtual void MesClose() = 0;
  virtual const char* MesOpen(const std::string& setting) = 0;
  virtual Dstl::wise_ref<Dova::TMesBase> GetMes() = 0;  // any thread

 private:
  static constexpr unsigned kHeartbeatMs = 30'000;

  VekClient* Client() const { return owners_.empty() ? nullptr : owners_.front(); }
  void OnLinkLost(EVekClientState state, const std::string& reason);
  void ReceiveByCopy(Dova::TMesBase& mes);
  void OnHeartbeatTimer();  // timer thread, outside the context
  void CheckHeartbeat();

  std::vector<VekClient*> owners_;
  Dova::TCoreRunRef coreRun_;
  Dstl::wise_ref<Dova::TSyncContext> context_;
  std::string helloPk_;
  std::atomic<unsigned> recvCount_{0};
  Dova::TFlowCtrl flowCtrl_{true};
  unsigned epoch_ = 0;
  bool linkLost_ = false;
  Dova::TTimer<VekClient_nsImpl> heartbeat_;  // last: its destruction waits for an expiry that uses the rest
};

extern template class VekClient_nsImpl<Dova::TMesEvHandler>;

class VekClient::TImpl : public VekClient_nsImpl<Dova::TMesEvHandler> {
 public:
  using VekClient_nsImpl::VekClient_nsImpl;

  void MesClose() override;
  const char* MesOpen(const std::string& setting) override;
  Dstl::wise_ref<Dova::TMesBase> GetMes() override;

 private:
  class TSyncOpenMes;
  class TSyncCloseMes;

  void SetMes(Dstl::wise_ref<Dova::TMesBase> mes);

  std::mutex mesMutex_;  // leaf; guards mes_
  Dstl::wise_ref<Dova::TMesBase> mes_;
};

}  // namespace VekApi
