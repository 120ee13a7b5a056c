#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

#include "platform/os/Cause.h"
#include "platform/runtime/Ref.h"
#include "platform/runtime/TSyncContext.h"
#include "platform/transport/TMesEvHandler.h"

namespace Dova {

// A byte-stream link created from a setting. Reference-counted: its user holds a reference, and so does each
// of its threads while it runs.
//
// Life cycle: created by TMesRegs, given a handler and a context, opened once, closed once. An opened
// messenger must be closed before its last reference is released.
class TMesBase : public Dstl::ref_counter<unsigned> {
 public:
  TMesBase();

  const std::string& GetSetting() const { return setting_; }

  // Parses the parameters; false if they are invalid. Before Open.
  virtual bool SettingApply(const std::string& setting);

  // The invalid word of the parameters; empty if one is missing, or if the word is not known.
  const std::string& RefusedWord() const { return refusedWord_; }

  // The context in which events are raised; initially the messenger's own. Before Open.
  void SetSyncContext(Dstl::wise_ref<TSyncContext> context) { context_ = std::move(context); }
  const Dstl::wise_ref<TSyncContext>& SyncContext() const { return context_; }

  // Time-out for the first event after Open. The user ends a messenger that stays silent longer.
  virtual int LinkTimeoutMs() const { return 45'000; }

  // Longest message text that may be received in pieces, in bytes.
  virtual std::size_t MaxMessageBytes() const { return kMaxMessageBytes; }
  static constexpr std::size_t kMaxMessageBytes = std::size_t{64} << 20;

  // The cause behind the reason of OnMesLinkError or OnMesLinkBroken. From inside those events.
  Os::ECause EndCause() const { return endCause_; }

  // Limit of the send queue, in bytes, and so of a single send, once linked.
  virtual std::size_t SendQueueBytes() const { return kSendQueueBytes; }
  static constexpr std::size_t kSendQueueBytes = std::size_t{8} << 20;

  // For a messenger that uses this one but carries the stream another way: returns the reader's poll time
  // from the setting, in microseconds, and disables polling here. Before Open.
  virtual int TakeSpinUs() { return 0; }

  // Sets the receiver of events; null: none. From inside the context.
  void SetEvHandler(TMesEvHandler* handler) { handler_ = handler; }

  // Starts opening the link; false if no thread could be started. The outcome is reported by events, possibly
  // before this returns. Throws std::bad_alloc; must be closed afterwards also then. From inside the context.
  virtual bool Open() = 0;

  // Ends the link without an event, and waits for the messenger's threads unless one of them is inside an
  // event. From inside the context.
  virtual void Close() = 0;

  // Ends the link and reports it as broken, with `reason`. From inside the context.
  void CloseReason(const std::string& reason);

  // All or nothing: returns length, or 0 if nothing was accepted (no link, or the send queue is full). Sends
  // of different threads are not interleaved. Thread-safe; waits only for concurrent calls of Send.
  virtual int Send(const char* bytes, int length) = 0;

  // Send that also reports where in the stream of all accepted bytes these begin. `at` is unchanged if
  // nothing was accepted, not even a part before the link broke.
  virtual int SendAt(const char* bytes, int length, std::uint64_t& at);

  // How many bytes of that stream have left this process; UINT64_MAX if unknown. Thread-safe.
  virtual std::uint64_t TakenBytes() { return UINT64_MAX; }

  // Makes Close not wait for the peer to receive what was sent last. From inside the context.
  virtual void SetAbrupt() {}

  // Copies waiting bytes and returns their number, 0 or less if there are none. From inside OnMesRecvReady.
  virtual int Recv(char* buffer, int size) = 0;

  // Borrows the waiting bytes instead, until OnMesRecvReady returns, and counts them as received; the
  // borrower may modify them, and the byte after them. Null if this messenger does not support it: use Recv.
  virtual char* RecvInPlace(int& /*count*/) { return nullptr; }

 protected:
  // Enters the context and calls `event(handler)` there, if there is a handler. Returns false if the
  // messenger was closed: the caller should end. Not while holding leaf locks.
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

  // Enters the context and calls `action()` there, unless the messenger was closed. For work of a timer or a
  // messenger thread that raises no event. Not while holding leaf locks.
  template <class TAction>
  void RunInContext(const TAction& action) {
    const TSyncScope inside(context_, &closed_);
    if (inside && !IsClosed()) action();
  }

  void SetRefusedWord(std::string word) { refusedWord_ = std::move(word); }

  // Before the last event, from inside the context.
  void SetEndCause(Os::ECause cause) { endCause_ = cause; }

  bool IsClosed() const { return closed_.load(std::memory_order_acquire); }

  // For Close: no event is raised from now on. False if already closed.
  bool MarkClosed();

  // True while an event of this messenger is on a thread's stack. From inside the context.
  bool IsDelivering() const { return delivering_; }

 private:
  // Resets the flag also if the event throws.
  struct TDelivering {
    explicit TDelivering(bool& flag) : flag_(flag), outer_(std::exchange(flag, true)) {}
    ~TDelivering() { flag_ = outer_; }
    TDelivering(const TDelivering&) = delete;
    TDelivering& operator=(const TDelivering&) = delete;
    bool& flag_;
    const bool outer_;
  };

  std::string setting_;
  std::string refusedWord_;
  Dstl::wise_ref<TSyncContext> context_;
  TMesEvHandler* handler_ = nullptr;  // guarded by the context, as is delivering_
  bool delivering_ = false;
  Os::ECause endCause_ = Os::ECause::Other;  // likewise
  std::atomic<bool> closed_{false};
};

}  // namespace Dova
