#pragma once

#include <memory>
#include <string>

#include "platform/os/NamedMapping.h"

namespace Dova::Os {

// Auto-reset event shared by processes under a name: one Set releases one wait, current or future; Sets do
// not accumulate. It exists while any process has it open, and is initially not set.
//
// Set may be called on any thread, but not while another thread opens or closes the event.
class TNamedEvent {
 public:
  TNamedEvent();
  ~TNamedEvent();
  TNamedEvent(TNamedEvent&& other) noexcept;
  TNamedEvent& operator=(TNamedEvent&& other) noexcept;

  // Returns false on failure; Error() has the cause. Windows: joining an event that does not exist creates
  // it.
  bool Open(const std::string& name, EOpen how);
  // See TNamedMapping.
  void HideName() noexcept;
  void Close() noexcept;
  bool IsOpen() const noexcept { return native_ != nullptr; }

  void Set() noexcept;

  TError Error() const noexcept { return {nullptr, error_}; }  // of the last failure

 private:
  friend class TNamedEventWait;
  struct TNative;
  std::unique_ptr<TNative> native_;
  int error_ = 0;
};

// One thread's wait for either of two events, which another thread can end permanently.
//
// Linux: both events must belong to one family, that is, their names are equal up to ".C2S" or ".S2C" and
// ".REv" or ".WEv"; otherwise Wait returns kCannot.
class TNamedEventWait {
 public:
  static constexpr unsigned kFirst = 1;
  static constexpr unsigned kSecond = 2;
  static constexpr unsigned kStopped = 4;
  static constexpr unsigned kCannot = 8;
  static constexpr int kForever = -1;

  TNamedEventWait();
  ~TNamedEventWait();
  TNamedEventWait(const TNamedEventWait&) = delete;
  TNamedEventWait& operator=(const TNamedEventWait&) = delete;

  // False if the system had no handles for it; it must not be used then.
  explicit operator bool() const noexcept;

  // Returns which events were set, one or both, and resets them; 0 on timeout; kStopped alone after Stop.
  // With `lazySecond` the second event alone does not end the wait: it is reported with the first, or after a
  // Nudge.
  unsigned Wait(TNamedEvent& first, TNamedEvent& second, int timeoutMs = kForever,
                bool lazySecond = false) noexcept;

  // Thread-safe. `second` is the second event of the wait: Wait reports it, now or next time.
  void Nudge(TNamedEvent& second) noexcept;

  // Thread-safe. Takes the events being waited for. Wait returns now and from now on. Other processes can
  // corrupt the events, but cannot keep Wait from returning after this call.
  void Stop(TNamedEvent& first, TNamedEvent& second) noexcept;

 private:
  struct TNative;
  std::unique_ptr<TNative> native_;
};

}  // namespace Dova::Os
