// The network of a simulated run: connections as two delayed byte streams, any of which may be cut.
#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "simulation/Scheduler.h"

namespace vektest {

enum class Cut { None, Finish, Reset };

// How a connection behaves, whatever is sent over it.
struct LineScript {
  Ns latency = kMs;            // at most, each way
  unsigned fragment = 0;       // at most so many bytes at a time; 0: all available
  std::size_t window = 65536;  // how far the client may send ahead of the reader
  Ns readDelay = 0;            // of the reader
  Cut cut = Cut::None;
  std::size_t cutDown = SIZE_MAX;  // after so many bytes to the client
  std::size_t cutUp = SIZE_MAX;    // after so many bytes from it
  Ns frozenFrom = kNever;          // since the connection was made; nothing moves
  Ns frozenFor = 0;
  int refuseSend = -1;  // the system's answer to the n-th attempt to send, and all later ones
};

class Line;

// The far end of a connection.
class Far {
 public:
  virtual void OnBytes(std::string_view bytes) = 0;
  virtual void OnFinished() = 0;  // the end of the stream
  virtual ~Far() = default;
};

class Line : public std::enable_shared_from_this<Line> {
 public:
  Line(Draw draw, const LineScript& script);

  // ---- the far end ----
  std::unique_ptr<Far> far;
  void Write(std::string bytes);
  std::size_t Written() const { return written_; }
  void End(Cut how);  // after the bytes already written
  bool IsCut() const { return cut_ != Cut::None || doomed_; }
  Cut HowCut() const { return cut_; }
  std::size_t Delivered() const { return onNews ? delivered_ - inbox_.size() : delivered_; }
  Ns LastDelivery() const { return lastDelivery_; }
  bool SendRefused() const { return refusedAt_ != kNever; }
  Ns RefusedAt() const { return refusedAt_; }
  Ns FrozenSince() const;  // kNever if not frozen
  void Thaw();
  // Bytes accepted by the client's system that have not arrived.
  std::string_view Rest() const { return std::string_view(taken_).substr(arrived_); }
  std::size_t BackedUp() const { return script_.window - room_; }
  bool Held(std::function<void()> again);  // false: not frozen

  // ---- a gateway in place of the client's socket ----
  std::function<void()> onNews;
  bool HasNews() const { return !inbox_.empty() || cut_ != Cut::None; }
  void Doom() { doomed_ = true; }  // the link may end at any time from now on

  // ---- the client's socket ----
  std::ptrdiff_t Recv(char* buffer, std::size_t size, const char*& error);
  std::ptrdiff_t TrySend(const char* bytes, std::size_t size, const char*& error);
  bool WaitWritable();
  void Finish(bool both);  // the end of sending, and with `both` of receiving
  void Leave();            // closes the socket

 private:
  Ns Later(Ns& last);
  void Deliver(const std::string& bytes);
  void Arrive(const std::string& bytes);
  void Break(Cut how);
  void TellReaders();

  Draw draw_;
  LineScript script_;
  const Ns made_;
  bool thawed_ = false;
  std::deque<std::function<void()>> held_;  // while frozen
  Ns lastDown_ = 0, lastUp_ = 0;
  Ns lastDelivery_ = 0;
  std::size_t written_ = 0, delivered_ = 0, arrived_ = 0;
  Cut cut_ = Cut::None;  // as seen by the client
  std::string inbox_;
  std::string taken_;  // from the client
  std::size_t room_;
  int sends_ = 0;
  Ns refusedAt_ = kNever;  // since then the system takes nothing more
  bool finished_ = false, closed_ = false, doomed_ = false;
  Task* readers_ = nullptr;
  Task* writers_ = nullptr;
};

// The run's answers to network calls.
class Net {
 public:
  struct Attempt {
    enum Outcome { Accepts, Refuses, Silent } outcome = Refuses;
    Ns delay = 0;
  };
  virtual ~Net() { current = nullptr; }
  virtual Attempt Try(unsigned port, unsigned address) = 0;
  virtual std::shared_ptr<Line> Accept(unsigned port) = 0;
  // The number of addresses, 0 if there is no such host; may wait.
  virtual unsigned LookUp(unsigned port) = 0;

  static inline Net* current = nullptr;

 protected:
  Net() { current = this; }
};

}  // namespace vektest
