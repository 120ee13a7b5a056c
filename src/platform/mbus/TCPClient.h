#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/mbus/TCPSetting.h"
#include "platform/mbus/TMemQueue.h"
#include "platform/mbus/TMesBase.h"
#include "platform/mbus/TResolver.h"
#include "platform/os/Event.h"
#include "platform/os/Socket.h"
#include "platform/os/Thread.h"

namespace Dova {

// Messenger kind "TCPClient" (parameters: TTCPSetting).
//
// One thread resolves, connects, sleeps in the system's receive call, and raises the events: no hop lies
// between the bytes and the handler. Sends go to the system on the caller's thread. What it does not take at
// once is queued and drained by a second thread, which exists from the first time that happens: a thread
// asleep in the receive call cannot also wait for room, and waking it for every send would cost everybody
// what only a stalled link needs.
class TCPClient : public TMesBase {
 public:
  TCPClient();

  bool SettingApply(const std::string& setting) override;
  bool Open() override;
  void Close() override;
  int Send(const char* bytes, int length) override;
  int Recv(char* buffer, int size) override;
  char* RecvInPlace(int& count) override;

 private:
  ~TCPClient() override = default;

  void RunLink();
  bool Connect(std::string& reason);
  bool ConnectTo(const std::vector<Os::TEndpoint>& endpoints, std::string& reason);
  void ReceiveUntilBroken();
  std::ptrdiff_t ReceiveSome();
  std::ptrdiff_t Poll();
  bool RaiseReceived();

  bool Queue(const char* bytes, std::size_t length);
  bool StartDrain();
  void WakeDrain();
  void RunDrain();
  bool Drain();

  std::string Address() const { return setting_.host + ":" + std::to_string(setting_.port); }

  TTCPSetting setting_;
  TResolver resolver_;
  Os::TSocket socket_;
  Os::TThread linkThread_;

  std::atomic<bool> greeted_{false};  // OnMesLinkReady has returned

  std::unique_ptr<char[]> received_;  // the link thread's, as are the two numbers
  int receivedAt_ = 0;
  int receivedCount_ = 0;

  TMemQueue queue_;        // its lock also guards what follows, and orders the sends
  bool linked_ = false;    // sends may go out
  bool draining_ = false;  // the second thread exists
  Os::TThread drainThread_;
  Os::TEvent drainWanted_;
  std::atomic<bool> busy_{false};  // cancels the drain thread's wait to raise OnMesSendEmpty
};

}  // namespace Dova
