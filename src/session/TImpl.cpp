#include "session/TImpl.h"

#include <algorithm>

#include "protocol/Hello.h"
#include "protocol/Packet.h"
#include "protocol/Texts.h"

namespace VekApi {

template <class T>
VekClient_nsImpl<T>::VekClient_nsImpl(VekClient* client)
    : context_(Dstl::make_ref<Dova::TSyncContext>()), heartbeat_(Dova::ots_OneShot, *this) {
  if (client) owners_.push_back(client);
}

template <class T>
const Dstl::wise_ref<Dova::TSyncContext>& VekClient_nsImpl<T>::ContextOf(const VekClient& client) {
  return client.impl_->Context();
}

template <class T>
bool VekClient_nsImpl<T>::RemoveOwner(VekClient* client) {
  ++epoch_;  // calls of that client that are on a stack do not touch it any more
  owners_.erase(std::remove(owners_.begin(), owners_.end(), client), owners_.end());
  return owners_.empty();
}

template <class T>
const char* VekClient_nsImpl<T>::OpenSession(const std::string& setting, const std::string& apName,
                                             const std::string& apVersion) {
  heartbeat_.Stop();
  MesClose();
  if (!MakeHello(helloPk_, apName, apVersion)) return kTextBadApName;
  linkLost_ = false;
  return MesOpen(setting);
}

template <class T>
void VekClient_nsImpl<T>::CloseSession() {
  ++epoch_;
  heartbeat_.Stop();
  MesClose();
}

template <class T>
bool VekClient_nsImpl<T>::SendMes(const char* packets, int length) {
  const auto mes = GetMes();
  return mes && SendMes(*mes, packets, length);
}

template <class T>
bool VekClient_nsImpl<T>::SendMes(Dova::TMesBase& mes, const char* packets, int length) {
  const bool sent = mes.Send(packets, length) == length;
  heartbeat_.Start(&VekClient_nsImpl::OnHeartbeatTimer, kHeartbeatMs);
  return sent;
}

template <class T>
void VekClient_nsImpl<T>::OnMesLinkReady(Dova::TMesBase* mes) {
  SendMes(*mes, helloPk_.data(), static_cast<int>(helloPk_.size()));
  recvCount_.store(0);
}

template <class T>
void VekClient_nsImpl<T>::OnMesLinkError(Dova::TMesBase*, const std::string& reason) {
  OnLinkLost(vcs_LinkError, reason);
}

template <class T>
void VekClient_nsImpl<T>::OnMesLinkBroken(Dova::TMesBase*, const std::string& reason) {
  OnLinkLost(vcs_LinkBroken, reason);
}

template <class T>
void VekClient_nsImpl<T>::OnLinkLost(EVekClientState state, const std::string& reason) {
  const Dstl::wise_ref<VekClient_nsImpl> self(this);
  const unsigned epoch = epoch_;
  linkLost_ = true;
  Client()->OnVekConnectEvent(state, reason);
  if (epoch == epoch_) heartbeat_.Stop();
}

template <class T>
void VekClient_nsImpl<T>::OnMesRecvReady(Dova::TMesBase* mes) {
  const Dstl::wise_ref<VekClient_nsImpl> self(this);
  const unsigned epoch = epoch_;
  int count = 0;
  if (char* block = mes->RecvInPlace(count)) {
    Client()->parser_.ParsePacket(block, static_cast<unsigned>(count));
  } else {
    ReceiveByCopy(*mes);
  }
  if (epoch == epoch_) recvCount_.fetch_add(1, std::memory_order_relaxed);
}

template <class T>
void VekClient_nsImpl<T>::ReceiveByCopy(Dova::TMesBase& mes) {
  const unsigned epoch = epoch_;
  char buffer[65536];
  for (;;) {
    const int count = mes.Recv(buffer, sizeof buffer);
    if (count <= 0) return;
    Client()->parser_.ParsePacket(buffer, static_cast<unsigned>(count));
    if (epoch != epoch_) return;
  }
}

// The context outlives this object here only because the timer's destruction waits for this call; once
// inside, a client holds the object.
template <class T>
void VekClient_nsImpl<T>::OnHeartbeatTimer() {
  const Dova::TSyncScope inside(context_);
  if (inside) CheckHeartbeat();
}

template <class T>
void VekClient_nsImpl<T>::CheckHeartbeat() {
  const Dstl::wise_ref<VekClient_nsImpl> self(this);
  const auto mes = GetMes();
  // A send that met the end of the link may have armed the timer once more.
  if (!mes || linkLost_) return;
  VekClient& client = *Client();
  if (client.State() < vcs_Connected && client.State() != vcs_SgnError) {
    return client.OnVekConnectEvent(vcs_UnknownServer, kTextUnknownServer);
  }
  if (recvCount_.exchange(0) == 0)
    return client.OnVekConnectEvent(vcs_HeartbeatTimeout, kTextHeartbeatTimeout);
  char heartbeat[kHeadBytes];
  VekClient::SetPkHead(heartbeat, PkHeartbeat, kHeadBytes);
  mes->Send(heartbeat, kHeadBytes);
  heartbeat_.Start(kHeartbeatMs);
}

template class VekClient_nsImpl<Dova::TMesEvHandler>;

}  // namespace VekApi
