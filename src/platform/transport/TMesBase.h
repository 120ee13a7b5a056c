#pragma once

#include <atomic>
#include <cstddef>
#include <string>
#include <utility>

#include "platform/runtime/Ref.h"
#include "platform/runtime/TSyncContext.h"
#include "platform/transport/TMesEvHandler.h"

namespace Dova {

// A byte-stream link made from a setting text. Counted: its user holds a reference, and so does every thread
// of its own while it runs.
//
// Life: made by TMesRegs, given a handler and a context, opened once, closed once. Whoever lets go of the
// last reference of an opened messenger has closed it before.
class TMesBase : public Dstl::ref_counter<unsigned> {
 public:
  TMesBase();

  const std::string& GetSetting() const { return setting_; }

  // Takes the parameters; false when they cannot be understood. Before Open.
  virtual bool SettingApply(const std::string& setting);

  // The context that events are raised in; a messenger starts with one of its own. Before Open.
  void SetSyncContext(Dstl::wise_ref<TSyncContext> context) { context_ = std::move(context); }
  const Dstl::wise_ref<TSyncContext>& SyncContext() const { return context_; }

  // How long Open may take to come to an event. What is silent for longer is ended by its user.
  virtual int LinkTimeoutMs() const { return 45'000; }

  // Longest message, in bytes of text, that the setting lets the other side send in pieces.
  virtual std::size_t MaxMessageBytes() const { return kMaxMessageBytes; }
  static constexpr std::size_t kMaxMessageBytes = std::size_t{64} << 20;

  // How much may wait to be sent, in bytes.
  virtual std::size_t SendQueueBytes() const { return kSendQueueBytes; }
  static constexpr std::size_t kSendQueueBytes = std::size_t{8} << 20;

  // For a messenger that stands in front of this one and carries the stream another way: how long the setting
  // wants the reader to poll before it sleeps, in microseconds. This one polls no more. Before Open.
  virtual int TakeSpinUs() { return 0; }

  // Who is told; null: nobody. From inside the context.
  void SetEvHandler(TMesEvHandler* handler) { handler_ = handler; }

  // Starts to make the link; true when it could start. What comes of it is told by events, possibly before
  // this returns. From inside the context.
  virtual bool Open() = 0;

  // Ends the link without an event, and waits for threads of the messenger unless one of them is in an event
  // at this moment. From inside the context.
  virtual void Close() = 0;

  // Ends the link and tells the handler why, as a broken link. From inside the context.
  void CloseReason(const std::string& reason);

  // All or nothing: length, or 0 when nothing was taken (no link, or too much is waiting already). Sends of
  // different threads do not mix. Any thread; waits for nothing but the peer threads' own Send.
  virtual int Send(const char* bytes, int length) = 0;

  // Fetches waiting bytes: their count, 0 or less when there are none. From inside OnMesRecvReady.
  virtual int Recv(char* buffer, int size) = 0;

  // Lends the waiting bytes instead, until OnMesRecvReady returns, and counts them as fetched; the borrower
  // may change them. Null when this messenger has nothing to lend: use Recv.
  virtual char* RecvInPlace(int& /*count*/) { return nullptr; }

 protected:
  // Enters the context and calls `event(handler)` there, when there is a handler. False when the messenger
  // was closed: whoever called should end. Not from inside a thread that holds leaf locks.
  template <class TEvent>
  bool Raise(const TEvent& event) {
    const TSyncScope inside(context_, &closed_);
    if (!inside) return false;
    RaiseInside(event);
    return !IsClosed();
  }

  template <class TEvent>
  void RaiseInside(const TEvent& event) {
    if (!handler_ || IsClosed()) return;
    const TDelivering delivering(delivering_);
    event(*handler_);
  }

  // Enters the context and calls `action()` there, unless the messenger was closed. For what a timer or a
  // thread of a messenger does without an event. Not from inside a thread that holds leaf locks.
  template <class TAction>
  void RunInContext(const TAction& action) {
    const TSyncScope inside(context_, &closed_);
    if (inside && !IsClosed()) action();
  }

  bool IsClosed() const { return closed_.load(std::memory_order_acquire); }

  // For Close: no event comes from here on. False when it was closed already.
  bool MarkClosed();

  // True while an event of this messenger is on some thread's stack. From inside the context.
  bool IsDelivering() const { return delivering_; }

 private:
  // Also when the event throws.
  struct TDelivering {
    explicit TDelivering(bool& flag) : flag_(flag), outer_(std::exchange(flag, true)) {}
    ~TDelivering() { flag_ = outer_; }
    TDelivering(const TDelivering&) = delete;
    TDelivering& operator=(const TDelivering&) = delete;
    bool& flag_;
    const bool outer_;
  };

  std::string setting_;
  Dstl::wise_ref<TSyncContext> context_;
  TMesEvHandler* handler_ = nullptr;  // guarded by the context, as is delivering_
  bool delivering_ = false;
  std::atomic<bool> closed_{false};
};

}  // namespace Dova
