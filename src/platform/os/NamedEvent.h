#pragma once

#include <memory>
#include <string>

#include "platform/os/NamedMapping.h"

namespace Dova::Os {

// Auto-reset event that processes share by a name: a Set lets one wait through, now or later; Sets do not add
// up. It lives while somebody has it open, and starts out not set.
//
// Set may be called on any thread while nobody opens or closes.
class TNamedEvent {
 public:
  TNamedEvent();
  ~TNamedEvent();
  TNamedEvent(TNamedEvent&& other) noexcept;
  TNamedEvent& operator=(TNamedEvent&& other) noexcept;

  // False on failure; Error() says why. Windows: who joins an event that nobody has made makes it.
  bool Open(const std::string& name, EOpen how);
  // See TNamedMapping.
  void HideName() noexcept;
  void Close() noexcept;
  bool IsOpen() const noexcept { return native_ != nullptr; }

  void Set() noexcept;

  int Error() const noexcept { return error_; }  // the system's code of the last failure

 private:
  friend class TNamedEventWait;
  struct TNative;
  std::unique_ptr<TNative> native_;
  int error_ = 0;
};

// One thread's wait for either of two events, which another thread can end for good.
//
// Linux: both events must belong to one family, which is what their names have in common in front of ".C2S"
// or ".S2C" and ".REv" or ".WEv"; for others Wait answers kCannot.
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

  // False: the system had no handles for it, and it must not be used.
  explicit operator bool() const noexcept;

  // Which of them were set, one or both, and takes that back; 0 when timeoutMs passed first. kStopped alone
  // after Stop. With `lazySecond` the second alone does not end the wait: it is told with the first, or when
  // it is nudged.
  unsigned Wait(TNamedEvent& first, TNamedEvent& second, int timeoutMs = kForever,
                bool lazySecond = false) noexcept;

  // From any thread, with the second of the events that are waited for: Wait tells it, now or next time.
  void Nudge(TNamedEvent& second) noexcept;

  // From any thread, with the events that are waited for: Wait ends, now and from now on. Other processes can
  // spoil events but cannot keep a wait from ending when this is called until it has.
  void Stop(TNamedEvent& first, TNamedEvent& second) noexcept;

 private:
  struct TNative;
  std::unique_ptr<TNative> native_;
};

}  // namespace Dova::Os
