// State shared by the clients of one session.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "flowctrl/TFlowCtrl.h"
#include "flowctrl/TRequestPort.h"
#include "platform/runtime/Ref.h"
#include "platform/runtime/TSyncContext.h"
#include "platform/transport/TMesBase.h"
#include "session/CipherSlot.h"
#include "session/LinkReason.h"
#include "session/TPacketTap.h"
#include "session/TWire.h"
#include "session/Texts.h"
#include "shmem/TCoreRun.h"
#include "vekapi/VekClient.h"

namespace VekApi {

class TLink;
class TLinkWatch;
class TTextHandler;

// The context, the current link, and the sending of packets.
//
// Reference-counted: the clients that share it hold a reference each, and so does every call on a stack,
// because an event may delete the client.
class VekClient::TImpl : public TRequestPort {
 public:
  TImpl();

  const Dstl::wise_ref<Dova::TSyncContext>& Context() const { return context_; }
  Dova::TFlowCtrl& FlowCtrl() { return flowCtrl_; }
  const std::shared_ptr<TCipherSlot>& CipherSlot() const { return slot_; }

  // ---- any thread ----

  // Checks the rate limit for a request of code 128. Returns 0, or the milliseconds to wait.
  unsigned CheckQueryRate();

  // Sends a complete packet; its body is scrambled in place. True if the link accepted all of it.
  bool SendPk(char* packet, int length);

  bool SendRequest(int msgCode, char* buffer, unsigned length) override;
  using TSendNote = VekApi::TSendNote;
  bool SendRequest(int msgCode, char* buffer, unsigned length, TSendNote& note);

  // Null for plain clients. Set before the first link; must outlive the last one.
  TLinkWatch* Watch() const { return watch_; }
  void SetWatch(TLinkWatch* watch) { watch_ = watch; }

  // The client's handler if it is one of the library's own, else null. Set before the first link.
  TTextHandler* TextHandler() const { return textHandler_; }
  void SetTextHandler(TTextHandler* handler) { textHandler_ = handler; }

  // The observer of the packets; null if none.
  TTapSlot& Tap() { return tap_; }

  // Why the last link ended or is in trouble; reason 0 while the link is well.
  TWhy Why();
  // If memory runs out, only the detail is lost.
  void SetWhy(int reason, std::string_view detail = {}) noexcept;

  // Marks the current link as about to be replaced by the calling thread, so that its pending work can stop.
  // With `only`, only if it is that client's link.
  void Abandon(const VekClient* only = nullptr);

  // The current link. After a wait, compare again: it may have been replaced.
  Dstl::wise_ref<TLink> LinkNow();

  // ---- inside the context ----

  void AddOwner() { ++owners_; }
  void RemoveOwner(const VekClient& client);

  const Dstl::wise_ref<TLink>& Link() const { return link_; }

  std::uint32_t NextLinkNumber() { return ++links_; }

  // Creates a link, makes it the current one, and opens it. Returns null, or an error text; then there is no
  // current link. `link` is for the caller to free when nothing is left to do: that may wait and answer
  // messages.
  const char* OpenSession(VekClient& client, const std::string& setting, const std::string& apName,
                          const std::string& apVersion, Dstl::wise_ref<TLink>& link);

  // Closes the current link, if any, and waits for its threads. Returns false if another call has created a
  // new one meanwhile, or deleted the client.
  bool CloseSession(EVekClientState state = vcs_Disconnected, const char* reason = kTextDisconnect);

  // Called before a client's last event. Nothing of the client reaches the tap afterwards.
  void EndTap(const VekClient& client);

  // Called by the current link to permit (throws std::bad_alloc) or forbid senders to use its messenger.
  void LetSend(TLink& link);
  void Silence(TLink& link);

 private:
  ~TImpl() override;

  // Null if no link accepts packets.
  Dstl::wise_ref<const TWire> Wire();
  bool SendText(const TWire* wire, int msgCode, char* buffer, unsigned length, TSendNote* note);
  void SetLink(Dstl::wise_ref<TLink> link);

  Dova::TCoreRunRef coreRun_;
  const Dstl::wise_ref<Dova::TSyncContext> context_;
  Dova::TFlowCtrl flowCtrl_{true};
  unsigned owners_ = 0;
  std::uint32_t links_ = 0;
  TLinkWatch* watch_ = nullptr;
  TTextHandler* textHandler_ = nullptr;
  TTapSlot tap_;
  // The slot's mutex guards the members below, so that senders get a consistent snapshot.
  const std::shared_ptr<TCipherSlot> slot_;
  Dstl::wise_ref<TLink> link_;  // changed only inside the context
  TWhy why_;
};

// Access for directories built on top of the session.
struct TClientParts {
  using TImpl = VekClient::TImpl;
  static TImpl& ImplOf(const VekClient& client) { return *client.impl_; }
};

inline const Dstl::wise_ref<Dova::TSyncContext>& ContextOf(const VekClient& client) {
  return TClientParts::ImplOf(client).Context();
}

}  // namespace VekApi
