#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "flat/TPendingEvRecs.h"
#include "flat/VekApiC_VekClient.h"
#include "platform/os/MessageWindow.h"
#include "platform/runtime/TTimerQueue.h"
#include "session/TTextHandler.h"
#include "vekapi/VekApiC.h"

// The handler of a client whose callbacks run on the thread that created it. Most events are queued; the
// first one queued posts a message to a hidden window of that thread. Task results and password results exist
// only during their event: they are sent, and the raising thread waits.
//
// One message delivers a limited part of the events; a message with lower priority than the thread's other
// work continues. A result that finds queued events lets the thread deliver those first, and is sent again.
//
// The raising thread is inside the session's context. It lends its place to the window's thread (TLoan), so a
// callback may connect, disconnect and delete as usual.
//
// Lives as long as its client, whose destroy event ends it, possibly inside one of its own callbacks.
class TVekClientMessageLoop final : public VekApi::TTextHandler,
                                    private TAsOf,
                                    private Dova::Os::TMessageHandler {
 public:
  // Window messages.
  static constexpr unsigned kEventsQueued = 1073;   // no parameters
  static constexpr unsigned kTaskResult = 1074;     // both: const CVekTaskResult*
  static constexpr unsigned kChgPassResult = 1075;  // const char* user, const char* result text

  // Creates a client with its own loop on the calling thread; null if the thread cannot have a window.
  static VekApiC_VekClient* CreateClient(const CVekClientCallbacks& callbacks, void* user);

  TVekClientMessageLoop(const TVekClientMessageLoop&) = delete;
  TVekClientMessageLoop& operator=(const TVekClientMessageLoop&) = delete;

 private:
  struct TFrame;
  enum class EDrained { All, Part, Destroyed };

  TVekClientMessageLoop();
  ~TVekClientMessageLoop() override = default;
  bool Open(const CVekClientCallbacks& callbacks, void* user);  // false: no window
  void Dismiss();

  // On the thread that raises the event, inside the context.
  void OnVekUnknownMsgCodeEvent(VekApi::VekClient&, int msgCode, const char* packet, int length) override;
  void OnVekConnectEvent(VekApi::VekClient& client, const std::string& reason) override;
  void OnVekApReadyEvent(VekApi::VekClient& client) override;
  void OnVekTaskResultEvent(VekApi::VekClient&, const VekApi::VekTaskResult& result) override;
  void OnVekChgPassResultEvent(VekApi::VekClient&, const std::string& user,
                               const std::string& resultText) override;
  void OnText(int msgCode, std::string_view text) override;
  void OnVekClientDestroyEvent(VekApi::VekClient&) override;

  template <class Callback>
  void Push(Callback callback, std::int32_t kind, std::int32_t num, std::string_view text);
  void SendToWindow(const Dova::Os::TMessage& message, const TLent& lent);

  // Thread-safe. Inside a callback on the window's thread the results are those at the time of the event.
  VekApi::EVekClientState State() const override;
  const VekApi::VekTaskResult& SgnResult() const override;
  const char* ServerName() const override;
  const TFrame* Delivering() const;
  const TSessionView& View() const;

  // On the window's thread.
  bool OnMessage(const Dova::Os::TMessage& message) override;
  void OnWindowGone() override;
  void OnEventsQueued();
  void OnSent(TLoan& loan);
  EDrained Drain(TFrame& frame, bool bounded);
  void Deliver(const TPendingEv& event);
  void DeliverInItsPlace(TLoan& loan);
  void DeliverLent(const TLent& lent);

  const std::uintptr_t thread_;  // of the window
  const Dova::TTimerQueue& clock_;
  Dova::Os::TWindowRef window_;
  std::shared_ptr<TPendingEvRecs> pending_;
  VekApiC_VekClient* client_ = nullptr;
  mutable Dova::Os::TMutex shownMutex_;  // leaf
  mutable TSessionViewRef shown_;        // outside callbacks
  // Used on the window's thread:
  TFrame* frame_ = nullptr;  // the innermost one on the stack
  TSessionViewRef view_;     // of the last event delivered
  bool destroying_ = false;
};

template <class Callback>
void TVekClientMessageLoop::Push(Callback callback, std::int32_t kind, std::int32_t num,
                                 std::string_view text) {
  if (client_->Wants(callback)) pending_->Push({kind, num, text, client_->Client().State()});
}
