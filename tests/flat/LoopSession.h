// A client on the test thread's message loop, over a TestMes that other threads drive.
#pragma once

#include <atomic>
#include <string>
#include <thread>

#include "flat/FlatSession.h"

namespace vektest {

class LoopSession : public FlatSession {
 protected:
  void CreateOnLoop(const CVekClientCallbacks& callbacks = Recording()) {
    client = CVekClient_Create_OnMessageLoop(&callbacks, this);
    ASSERT_NE(client.object, nullptr);
  }

  // Signed on, with nothing waiting.
  void SignOnOnLoop() {
    CreateOnLoop();
    SignOn();
    DispatchAll();
    Take();
  }

  static void DispatchAll() {
    while (CVekMessageLoop_Dispatch(0) > 0) {
    }
  }

  // Serves the loop until another thread has done its work.
  template <class TBody>
  static void ServeWhile(TBody body) {
    std::atomic<bool> done{false};
    std::thread other([&] {
      body();
      done = true;
    });
    while (!done) CVekMessageLoop_Dispatch(5);
    other.join();
  }
  void DeliverFromLink(const std::string& bytes) {
    const auto link = mes;  // the test may connect anew meanwhile
    ServeWhile([&] { link->Deliver(bytes); });
  }

  // Waits until the link's thread, which has been told to deliver a result, is inside the session's context:
  // it stays there until this thread answers.
  void WaitUntilResultIsOnItsWay() {
    while (mes->SyncContext()->TryEnter()) {
      mes->SyncContext()->Leave();
      std::this_thread::yield();
    }
  }
};

}  // namespace vektest
