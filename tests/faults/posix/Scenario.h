// Sessions, one after the other, over the flat functions, using all of their features.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>

#include "support/TVirtualTimerQueue.h"
#include "vekapi/VekApiC.h"

namespace Faults {

// A client of the flat functions, its sender, and the events received.
class TSession {
 public:
  TSession(TestSupport::TVirtualTimerQueue& time, std::string setting);
  ~TSession();
  TSession(const TSession&) = delete;
  TSession& operator=(const TSession&) = delete;

  // Every step leaves the session up if no call fails, and reconnects if one failed before.
  void RefusedSignOn();
  void Query(const std::string& request);
  void PacedOrders();
  void ChangePassword();
  void Reconnect();
  void Disconnect();

  // Deletes the client in different states.
  void DeleteWhileConnecting();
  void DeleteInsideReady();
  void DeleteWhileUp();

 private:
  struct TTold {
    int state = 0;
    unsigned events = 0;
    unsigned states = 0;
    unsigned results = 0;
    unsigned acks = 0;
    unsigned reports = 0;
    unsigned passes = 0;
    bool destroyed = false;
  };

  static CVekClientCallbacks Callbacks();
  template <class TCount>
  static void On(CVekClient* client, void* user, const TCount& count);
  static void ReadTables(const CVekTaskResult* result);

  bool Made();
  bool Connect(const char* password);
  bool Up();
  bool Send(int code, const std::string& text);
  void Order(int number);

  unsigned Told(unsigned TTold::*count);
  bool Await(const std::function<bool()>& done);
  bool IsGone();
  void LetPass(unsigned ms);
  void ExpectReason(bool answered, const char* call) const;

  TestSupport::TVirtualTimerQueue& time_;
  const std::string setting_;
  CVekClient client_{};
  CVekFlowCtrlSender sender_{};
  bool deleteWhenReady_ = false;
  std::chrono::milliseconds quiet_;

  std::mutex mutex_;
  std::condition_variable changed_;
  TTold told_;
};

}  // namespace Faults
