// Gates and senders for C++20, header-only, over the flat functions of VekApiC.h, which documents them. No
// C++ type is passed to the library, so programs built with any compiler may use it. An exception thrown by
// an application's function inside a callback is dropped.
#ifndef VEKAPI_FLOWCONTROL_HPP
#define VEKAPI_FLOWCONTROL_HPP

#include <chrono>
#include <coroutine>
#include <cstdint>
#include <deque>
#include <functional>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "vekapi/Detached.hpp"
#include "vekapi/Milliseconds.hpp"
#include "vekapi/Text.hpp"
#include "vekapi/VekApiC.h"

namespace VekApi {

// Where callbacks run: on the library's threads, or on the creating thread in its message loop.
enum class VekDelivery { Threads, Loop };

// Limits requests of code 129 to a count per interval. Any thread may use it.
class VekGate {
 public:
  // All times.
  using Ms = std::chrono::milliseconds;

  // `onFree` is called when a request may be sent, after CallWhenFree or an acknowledgement found the gate
  // closed; another thread may have used the slot by then. With VekDelivery::Threads it runs with the gate's
  // locks held: it, and coroutines that take turns, must not connect, disconnect or delete a client, or wait
  // for a thread that uses the gate. Throws std::bad_alloc, also if the thread cannot have a message loop.
  explicit VekGate(std::function<void()> onFree = {}, VekDelivery delivery = VekDelivery::Threads)
      : onFree_(std::move(onFree)) {
    CVekFlowCtrlCallbacks table{};
    table.OnVekFlowCtrlFree = &TakeFree;
    gate_ = delivery == VekDelivery::Loop ? CVekFlowCtrl_Create_OnMessageLoop(&table, this)
                                          : CVekFlowCtrl_Create(&table, this);
    if (gate_.object == nullptr) throw std::bad_alloc();
  }
  // Waiting coroutines get false. No other thread may use the gate any more. Not to be called inside
  // `onFree`, or in a coroutine that has not returned since it took a turn.
  ~VekGate() {
    CVekFlowCtrl_Delete(&gate_);
    while (!waiting_.empty()) Next(false)->waiting_.resume();
  }
  VekGate(const VekGate&) = delete;
  VekGate& operator=(const VekGate&) = delete;

  // Sets the rate: `count` requests within any `within`; either below 1: no limit. Call it for each new
  // session.
  void SetRate(int count, Ms within) {
    CVekFlowCtrl_SetFlowCtrl(&gate_, count, Detail::Milliseconds<int>(within));
  }
  // True if a rate is set.
  bool HasRate() const { return CVekFlowCtrl_IsFlowCfg(&gate_); }
  // Records that this number of requests was acknowledged.
  void Acknowledged(unsigned requests) { CVekFlowCtrl_SetAckTime(&gate_, requests); }
  // Asks to send one request now. 0: allowed, and counted as sent. Positive: try again after that many
  // milliseconds. -1: not before an acknowledgement.
  int Check() {
    const int answer = CVekFlowCtrl_CheckFlowCtrl(&gate_);
    return answer < 0 ? -1 : answer;
  }
  // True if one request may be sent now; it is counted as sent.
  bool Take() { return Check() == 0; }
  // Calls `onFree` when a request may be sent: immediately or later.
  void CallWhenFree() { CVekFlowCtrl_StartCheckTimer(&gate_); }

  // For co_await: true when one request may be sent, which is then counted as sent; false when the gate is
  // deleted. Turns are given in the order of waiting.
  class Turn {
   public:
    // `gate` must live until the coroutine resumes.
    explicit Turn(VekGate& gate) : gate_(gate) {}
    // A turn is not taken before the coroutine suspends.
    bool await_ready() const noexcept { return false; }
    // Once waiting, *this must not be used: the coroutine may have ended.
    bool await_suspend(std::coroutine_handle<> waiting) {
      waiting_ = waiting;
      return gate_.Wait(*this);
    }
    // True if the request may be sent.
    bool await_resume() const noexcept { return granted_; }

   private:
    friend class VekGate;
    VekGate& gate_;
    std::coroutine_handle<> waiting_;
    bool granted_ = false;
  };
  // The next turn, to be awaited.
  Turn NextTurn() { return Turn(*this); }

  // For the flat functions.
  CVekFlowCtrl* Handle() { return &gate_; }

 private:
  class Locker {
   public:
    explicit Locker(CVekFlowCtrl& gate) : gate_(gate) { CVekFlowCtrl_Lock(&gate_); }
    ~Locker() { CVekFlowCtrl_Unlock(&gate_); }
    Locker(const Locker&) = delete;
    Locker& operator=(const Locker&) = delete;

   private:
    CVekFlowCtrl& gate_;
  };

  // Checks and starts the timer under one lock: if the rate were removed in between, nothing would resume the
  // coroutine.
  bool Wait(Turn& turn) {
    if (gate_.object == nullptr) return false;  // in the destructor
    const Locker lock(gate_);
    turn.granted_ = waiting_.empty() && Take();
    if (turn.granted_) return false;
    waiting_.push_back(&turn);
    if (!granting_) CallWhenFree();
    return true;
  }

  Turn* Next(bool granted) {
    Turn* const next = waiting_.front();
    waiting_.pop_front();
    next->granted_ = granted;
    return next;
  }

  Turn* NextThatMayGo() {
    const Locker lock(gate_);
    granting_ = !waiting_.empty() && Take();
    if (granting_) return Next(true);
    if (!waiting_.empty()) CallWhenFree();
    return nullptr;
  }

  void Grant() {
    {
      const Locker lock(gate_);
      if (granting_) return;  // by the function further up the stack
    }
    while (Turn* const next = NextThatMayGo()) next->waiting_.resume();
  }

  static void TakeFree(CVekFlowCtrl*, void* user) noexcept {
    auto* const self = static_cast<VekGate*>(user);
    self->Grant();
    try {
      if (self->onFree_) self->onFree_();
    } catch (...) {  // the application's own
    }
  }

  const std::function<void()> onFree_;
  std::deque<Turn*> waiting_;  // guarded by the gate's user lock, as is `granting_`
  bool granting_ = false;
  CVekFlowCtrl gate_{};
};

// Sends requests of code 129, two lines each, at the configured rate, and holds the rest. Any thread may use
// it. It may outlive its client.
class VekSender {
 public:
  // All times.
  using Ms = std::chrono::milliseconds;
  // Receives the numbers of requests sent and refused.
  using OnSent = std::function<void(unsigned sent, unsigned refused)>;

  // `client` need not be connected. Throws std::bad_alloc.
  explicit VekSender(CVekClient* client) : sender_(CVekFlowCtrlSender_Create(client)) { Created(); }
  // `onSent` is called on this thread, in its message loop, with the number of held requests that the link
  // accepted since the previous call, and the number of requests that it refused.
  VekSender(CVekClient* client, OnSent onSent) : onSent_(std::move(onSent)) {
    CVekFlowCtrlSenderCallbacks table{};
    table.OnVekFlowCtrlSenderSent = &TakeSent;
    sender_ = CVekFlowCtrlSender_Create_OnMessageLoop(client, &table, this);
    Created();
  }
  // Drops the held requests. Not to be called inside `onSent`.
  ~VekSender() { CVekFlowCtrlSender_Delete(&sender_); }
  VekSender(const VekSender&) = delete;
  VekSender& operator=(const VekSender&) = delete;

  // Sets the rate: `count` requests within any `within`; either below 1: all are sent at once.
  void SetRate(int count, Ms within) {
    CVekFlowCtrlSender_SetFlowCtrl(&sender_, count, Detail::Milliseconds<int>(within));
  }
  // Sends or holds a request. True if nothing is held after the call. A refused request shows only in
  // Refused.
  bool Send(std::string_view request) {
    std::string buffer = Detail::RequestBuffer(request);
    return CVekFlowCtrlSender_SendVekRequest(&sender_, buffer.data(), Detail::Length(buffer.size()));
  }
  // Call it with each acknowledgement of the client; `text` as received, ended by NUL.
  void Acknowledge(int code, std::string_view text) {
    CVekFlowCtrlSender_AckParser(&sender_, code, text.data());
  }
  // Number of held requests.
  unsigned Held() const { return CVekFlowCtrlSender_PendingCount(&sender_); }
  // Number of requests that the link refused: not sent and not held.
  unsigned Refused() const { return CVekFlowCtrlSender_RefusedCount(&sender_); }
  // Drops the held requests and returns their number.
  unsigned DropHeld() { return CVekFlowCtrlSender_DropPending(&sender_); }
  // Removes and returns the oldest held request; empty if none is held.
  std::optional<std::string> TakeHeld() {
    std::string text;
    for (unsigned length = 64;;) {
      text.resize(length);
      length = CVekFlowCtrlSender_TakePending(&sender_, text.data(), static_cast<unsigned>(text.size()));
      if (length == 0) return std::nullopt;
      if (length > text.size()) continue;
      text.resize(length);
      return text;
    }
  }
  // For the flat functions.
  CVekFlowCtrlSender* Handle() { return &sender_; }

 private:
  void Created() const {
    if (sender_.object == nullptr) throw std::bad_alloc();
  }
  static void TakeSent(CVekFlowCtrlSender*, void* user, unsigned sent, unsigned refused) noexcept {
    try {
      static_cast<VekSender*>(user)->onSent_(sent, refused);
    } catch (...) {  // the application's own
    }
  }

  const OnSent onSent_;
  CVekFlowCtrlSender sender_{};
};

}  // namespace VekApi

#endif  // VEKAPI_FLOWCONTROL_HPP
