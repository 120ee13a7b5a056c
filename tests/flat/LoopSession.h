// A client on the test thread's message loop, over a TestMes driven by other threads.
#pragma once

#include <atomic>
#include <string>
#include <thread>

#include "flat/FlatSession.h"
#include "platform/os/MessageWindow.h"

namespace vektest {

class LoopSession : public FlatSession {
 protected:
  void CreateOnLoop(const CVekClientCallbacks& callbacks = Recording()) {
    client = CVekClient_Create_OnMessageLoop(&callbacks, this);
    ASSERT_NE(client.object, nullptr);
  }

  // Signed on, with an empty queue.
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

  static std::string Report(int number) { return Message(130, std::to_string(number)); }

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
  // Queues events while no thread serves the loop.
  void Queue(const std::string& bytes) {
    std::thread([&] { mes->Deliver(bytes); }).join();
  }
  // Serves the loop until so many lines have been recorded.
  void DispatchUntil(std::size_t count) {
    while (lines.size() < count) ASSERT_GE(CVekMessageLoop_Dispatch(-1), 0);
  }
  void DeliverFromLink(const std::string& bytes) {
    const auto link = mes;  // the test may reconnect meanwhile
    ServeWhile([&] { link->Deliver(bytes); });
  }
};

struct NoHandler final : Dova::Os::TMessageHandler {
  bool OnMessage(const Dova::Os::TMessage&) noexcept override { return true; }
  void OnWindowGone() noexcept override {}
};

}  // namespace vektest
