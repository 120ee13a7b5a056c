#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "platform/os/Event.h"
#include "platform/os/Process.h"
#include "platform/os/Socket.h"
#include "platform/os/Thread.h"
#include "platform/transport/TCPSetting.h"
#include "platform/transport/TMemQueue.h"
#include "platform/transport/TMesBase.h"
#include "platform/transport/TResolver.h"

namespace Dova {

// Messenger kind "TCPClient" (parameters: TTCPSetting).
//
// One thread resolves, connects, blocks in receive, and raises the events: received bytes reach the handler
// without a thread hop. Sends go to the system on the caller's thread. What the system does not accept at
// once is queued and drained by a second thread, created when first needed: a thread blocked in receive
// cannot also wait for send space, and waking it for every send would slow down all links for the sake of
// stalled ones.
//
// Any thread that detects the end of the link calls End; the link thread reports it once, with the first
// reason. The socket is closed as soon as the threads using it have left it, regardless of references to the
// messenger. Closing an open link gives the peer up to two seconds to receive what was sent (TFarewells); the
// link thread outlives Close for that time.
class TCPClient : public TMesBase {
 public:
  TCPClient();

  bool SettingApply(const std::string& setting) override;
  int LinkTimeoutMs() const override;
  std::size_t MaxMessageBytes() const override { return setting_.maxMessageBytes; }
  bool Open() override;
  void Close() override;
  int Send(const char* bytes, int length) override;
  int SendAt(const char* bytes, int length, std::uint64_t& at) override;
  std::uint64_t TakenBytes() override;
  void SetAbrupt() override { abrupt_ = true; }
  int Recv(char* buffer, int size) override;
  char* RecvInPlace(int& count) override;
  std::size_t SendQueueBytes() const override { return setting_.sendQueueBytes; }
  int TakeSpinUs() override { return std::exchange(setting_.spinUs, 0); }

 private:
  // Fits into a std::string without allocation.
  static constexpr char kOutOfMemory[] = "Out of memory";

  enum class EState { Idle, Connecting, Linked, Failed, Broken, Closed };
  using TLock = std::lock_guard<Os::TMutex>;
  using TSocketRef = std::shared_ptr<Os::TSocket>;

  ~TCPClient() override = default;

  void RunLink(TSocketRef socket);
  void Work(Os::TSocket& socket);
  bool Connect(Os::TSocket& socket);
  bool Greet();
  void Receive(Os::TSocket& socket);
  std::ptrdiff_t ReceiveSome(Os::TSocket& socket);
  std::ptrdiff_t Poll(Os::TSocket& socket);
  void GiveBackUnneeded();
  void TellEnd();

  bool SendSome(const char* bytes, int length, std::uint64_t* at);
  bool SendOrQueue(const TLock& lock, const char* bytes, std::size_t size);
  void Queue(const TLock& lock, const char* bytes, std::size_t size);
  void WakeDrain();
  void RunDrain();
  bool Drain();
  bool SendQueued(const TLock& lock);

  void End(std::string reason, Os::ECause cause) noexcept;
  void End(const TLock&, std::string reason, Os::ECause cause) noexcept;
  // Ends the link after a failed system call.
  void EndBySystem() noexcept;
  void EndBySystem(const TLock& lock) noexcept;
  bool LetGo();
  bool Is(EState state);
  std::string Address() const { return setting_.host + ":" + std::to_string(setting_.port); }
  std::string SystemReason(const Os::TError& error) const noexcept;

  // True in a forked child: the threads, and the holders of locks, are the parent's.
  bool IsInherited() const { return generation_ != Os::ProcessGeneration(); }

  static constexpr int kBufferBytes = 65536;
  static constexpr int kReceiveBytes = kBufferBytes - 1;  // the last byte belongs to who borrows the others

  const unsigned generation_ = Os::ProcessGeneration();
  TTCPSetting setting_;
  TResolver resolver_;
  Os::TThread linkThread_;
  Os::TEvent drainWanted_;
  std::atomic<bool> queuedMore_{
      false};  // cancels the drain thread's wait for the context to raise OnMesSendEmpty

  std::unique_ptr<char[]> received_;  // used by the link thread only, as are the next four
  int receivedAt_ = 0;
  int receivedCount_ = 0;
  std::int64_t calmAt_ = 0;  // the last tick with a calm read
  int untilCalm_ = 0;        // reads; 0: the buffer holds nothing to give back
  bool abrupt_ = false;      // guarded by the context

  TMemQueue queue_;          // its lock also guards the members below, and orders the sends
  std::uint64_t taken_ = 0;  // bytes the system has accepted
  EState state_ = EState::Idle;
  TSocketRef socket_;   // set while connecting and linked
  std::string reason_;  // why the link failed or broke
  Os::ECause cause_ = Os::ECause::Other;
  std::optional<Os::TThread> drainThread_;
};

}  // namespace Dova
