// What the clients that share a session have in common.
#pragma once

#include <memory>
#include <mutex>
#include <string>

#include "flowctrl/TFlowCtrl.h"
#include "flowctrl/TRequestPort.h"
#include "platform/runtime/Ref.h"
#include "platform/runtime/TSyncContext.h"
#include "platform/transport/TMesBase.h"
#include "session/CipherSlot.h"
#include "shmem/TCoreRun.h"
#include "vekapi/VekClient.h"

namespace VekApi {

class TLink;

// The context, the current link, and the sending of packets.
//
// Counted: the clients that share it hold a reference each, and so does every call that is on a stack, since
// an event may delete the client.
class VekClient::TImpl : public TRequestPort {
 public:
  TImpl();

  const Dstl::wise_ref<Dova::TSyncContext>& Context() const { return context_; }
  Dova::TFlowCtrl& FlowCtrl() { return flowCtrl_; }
  const std::shared_ptr<TCipherSlot>& CipherSlot() const { return slot_; }

  // ---- any thread ----

  // Whether a request of code 128 may go: 0, or the milliseconds to wait.
  unsigned CheckQueryRate();

  // A finished packet; its body is scrambled in place. True when the link took all of it.
  bool SendPk(char* packet, int length);

  bool SendRequest(int msgCode, char* buffer, unsigned length) override;

  // What still runs for the current link need not go on: the calling thread is about to replace it. With
  // `only`, when it is that client's.
  void Abandon(const VekClient* only = nullptr);

  // The link of this moment: what is asked again after a wait is whether it still is the current one.
  Dstl::wise_ref<TLink> LinkNow();

  // ---- inside the context ----

  void AddOwner() { ++owners_; }
  void RemoveOwner(const VekClient& client);

  const Dstl::wise_ref<TLink>& Link() const { return link_; }

  // Makes a link the current one, and opens it. Null, or an error text; then there is no link.
  const char* OpenSession(VekClient& client, const std::string& setting, const std::string& apName,
                          const std::string& apVersion);

  // Closes the current link, if any, and waits for its threads. False when another call has made a new one
  // meanwhile, or deleted the client.
  bool CloseSession();

  // From the current link: senders may, or may no longer, use its messenger.
  void LetSend(TLink& link);
  void Silence(TLink& link);

 private:
  struct TWire;

  ~TImpl() override;

  TWire Wire();
  void SetLink(Dstl::wise_ref<TLink> link);

  Dova::TCoreRunRef coreRun_;
  const Dstl::wise_ref<Dova::TSyncContext> context_;
  Dova::TFlowCtrl flowCtrl_{true};
  unsigned owners_ = 0;
  // The slot's mutex guards the two below, so that senders get one consistent view.
  const std::shared_ptr<TCipherSlot> slot_;
  Dstl::wise_ref<TLink> link_;  // changed inside the context only
  Dstl::wise_ref<Dova::TMesBase> mes_;
};

// For the rooms that stand on the session.
struct TClientParts {
  using TImpl = VekClient::TImpl;
  static TImpl& ImplOf(const VekClient& client) { return *client.impl_; }
};

inline const Dstl::wise_ref<Dova::TSyncContext>& ContextOf(const VekClient& client) {
  return TClientParts::ImplOf(client).Context();
}

}  // namespace VekApi
