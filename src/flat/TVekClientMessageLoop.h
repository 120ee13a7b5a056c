#pragma once

#include <atomic>
#include <cstdint>

#include "flat/TPendingEvRecs.h"
#include "platform/mbus/TSyncContext.h"
#include "platform/mbus/TTimer.h"
#include "platform/os/MessageWindow.h"
#include "vekapi/VekApiC.h"

class VekApiC_VekClient;

// Stands between a client and the callbacks of a caller who wants them on the thread that created the client:
// most events are queued, and the first of a row posts a message to a hidden window of that thread. Task
// results and password results live only as long as their event: they are sent, and the raising thread waits.
//
// The raising thread is inside the session's context then. It lends its place to the window's thread (TLoan),
// so a callback may connect, disconnect and delete as everywhere.
//
// Lives as long as its client, whose destroy event ends it, possibly inside one of its own callbacks.
class TVekClientMessageLoop final : private Dova::Os::TMessageHandler {
 public:
  // Window messages.
  static constexpr unsigned kEventsQueued = 1073;   // no parameters
  static constexpr unsigned kTaskResult = 1074;     // both: const CVekTaskResult*
  static constexpr unsigned kChgPassResult = 1075;  // const char* user, const char* result text

  // A client with a loop of its own on the calling thread; null when there is no window to be had.
  static VekApiC_VekClient* CreateClient(const CVekClientCallbacks& callbacks, void* user);

  TVekClientMessageLoop(const TVekClientMessageLoop&) = delete;
  TVekClientMessageLoop& operator=(const TVekClientMessageLoop&) = delete;

 private:
  struct TLoan;
  struct TFrame;

  TVekClientMessageLoop(const CVekClientCallbacks& callbacks, void* user);
  ~TVekClientMessageLoop() = default;

  // The inner client's callbacks, on the thread that raises the event, inside the context. `user` is the
  // loop.
  static CVekClientCallbacks Forwarders();
  static void OnUnknownMsgCode(CVekClient*, void* user, int msgCode, const char* packet, int length);
  static void OnConnect(CVekClient*, void* user, const char* reason);
  static void OnApReady(CVekClient*, void* user);
  static void OnTaskResult(CVekClient*, void* user, const CVekTaskResult* result);
  static void OnChgPassResult(CVekClient*, void* user, const char* userId, const char* resultText);
  static void OnRequestAck(CVekClient*, void* user, int msgCode, const char* ackText);
  static void OnReport(CVekClient*, void* user, const char* reportText);
  static void OnClientDestroy(CVekClient*, void* user);

  void Enqueue(TPendingEvRec rec);
  void SendToWindow(const Dova::Os::TMessage& message);
  void PostEventsQueued();
  void PostAgain();  // timer thread, and the window's

  // The window's thread.
  bool OnMessage(const Dova::Os::TMessage& message) noexcept override;
  void OnWindowGone() noexcept override;
  const TLoan* TakeLoan(const Dova::Os::TMessage& message);
  bool Drain(const TFrame& frame);
  void Deliver(const TPendingEvRec& rec);
  void DeliverInItsPlace(const TLoan& loan);
  void DeliverLent(const Dova::Os::TMessage& message);
  template <class Callback, class... Args>
  void Call(Callback callback, Args... args) noexcept;

  const CVekClientCallbacks callbacks_;
  void* const user_;
  const Dova::Os::TWindowRef window_;
  TFrame* frame_ = nullptr;  // the innermost one on the stack of the window's thread
  TPendingEvRecs pending_;
  VekApiC_VekClient* client_ = nullptr;
  std::atomic<const TLoan*> loan_{nullptr};  // of the message that is being sent, until it is taken up
  Dova::TTimer<TVekClientMessageLoop> retry_;
};
