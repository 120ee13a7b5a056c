#ifndef VEKAPI_VEKFLOWCTRL_H
#define VEKAPI_VEKFLOWCTRL_H

#include <string>

#include "vekapi/VekExport.h"

namespace VekApi {

// A gate that limits requests of code 129 to a count per interval, as the server counts them. A request's
// interval starts when it is acknowledged, so acknowledgements must be reported to the gate (VekAckParser,
// SetAckTime).
//
// Call CheckFlowCtrl before each request. If the gate is closed, ask again later, or call StartCheckTimer
// once and wait for OnVekFlowCtrlFree.
//
// Requests sent over a link that has ended are never acknowledged and keep their slots: call SetFlowCtrl
// again when a new session is ready.
//
// Threads: everything except construction and destruction is thread-safe. A gate has two recursive locks: the
// user lock, taken by Lock, and inside it the limiter's lock, taken briefly by every check and
// acknowledgement. Lock order: events of a client, then the user lock, then the limiter's lock. With the user
// lock held, do not connect, disconnect or delete a client, or wait for a thread that does. A thread that
// waits for the gate while holding an application lock must not need that lock in OnVekFlowCtrlFree.
//
// In a forked child an inherited gate is closed: no request is allowed, no event is raised, and its locks do
// not wait. New gates work.
class VEKAPI_EXPORT VekFlowCtrl {
 public:
  // Without a rate: every request is allowed.
  VekFlowCtrl();
  VekFlowCtrl(const VekFlowCtrl&) = delete;
  VekFlowCtrl& operator=(const VekFlowCtrl&) = delete;

  // Waits for an event running on another thread, unless CloseGate has already done so. No other thread may
  // be using the gate or holding its user lock by then. Its timer may be pending.
  virtual ~VekFlowCtrl();

 protected:
  // The gate is open again: a check after an acknowledgement, by StartCheckTimer or by the timer found that a
  // request may be sent now. Runs on the thread that reported the acknowledgement or called StartCheckTimer,
  // or on a timer thread, with both locks of the gate held: no other thread can take the free slot first.
  //
  // The event may call every function of this gate and send with any client; these calls may raise it again,
  // nested. It may delete this gate if it does not touch the gate afterwards, no other thread uses it, and
  // the call that raised the event was not made under Lock or VekFlowCtrlLocker. It must not connect,
  // disconnect or delete a client, or wait for a thread that uses this gate or runs an event of a client. It
  // must not throw.
  virtual void OnVekFlowCtrlFree() = 0;

 public:
  // True if a rate is set.
  bool IsFlowCfg() const;

  // Removes the rate and forgets past requests. If OnVekFlowCtrlFree is awaited, the timer raises it soon.
  void Clear();

  // Sets the rate: `count` requests within any `ms` milliseconds. Forgets past requests. If either value is
  // below 1, same as Clear. Acknowledgements still on their way count for requests sent from now on, so call
  // it before the first request of a session. Raises no event before it returns; a pending wait for
  // OnVekFlowCtrlFree (StartCheckTimer, a held request) continues with the new rate.
  void SetFlowCtrl(int count, int ms);

  // Records that `n` requests were acknowledged; any excess over the unacknowledged requests is ignored. May
  // raise OnVekFlowCtrlFree before it returns.
  void SetAckTime(unsigned n);

  // Call it with the arguments of OnVekRequestAckEvent. For code 129, calls SetAckTime with the number of
  // non-empty lines terminated by a line feed, plus one for the text after the last line feed, even if that
  // is empty. The text ends at its first NUL. Other codes are ignored.
  void VekAckParser(int code, const std::string& text);

  // Asks to send one request now. 0: allowed, and counted as sent. 1 to 0x7FFFFFFF: not now; ask again after
  // that many milliseconds. Above: not before an acknowledgement arrives.
  unsigned CheckFlowCtrl();

  // Raises OnVekFlowCtrlFree when a request may be sent: immediately, on this thread, or later. Does nothing
  // if no rate is set.
  void StartCheckTimer();

  // Sleeps for `ms` milliseconds on the calling thread, or for 1 ms if `ms` is above 0x7FFFFFFF, so every
  // result of CheckFlowCtrl may be passed.
  static void Sleep(unsigned ms);

  // Takes the user lock. Recursive: unlock as often as locked.
  void Lock() const;

  // Releases it once.
  void Unlock() const;

 protected:
  // Must be called first in the destructor of every derived class: waits for an event running on another
  // thread; none follows, so members used by OnVekFlowCtrlFree may then be destroyed.
  void CloseGate() noexcept;

  // Unless the timer is already armed, arms it to raise OnVekFlowCtrlFree when a request may be sent, `ms`
  // milliseconds from now at the earliest. Also without a rate, since every request is then allowed.
  void LookSoon(unsigned ms);

  // True in a forked child that inherited the gate.
  bool IsInherited() const noexcept;

  // Returns the places of `n` requests that CheckFlowCtrl has counted and that were not sent after all.
  void GiveBack(unsigned n) noexcept;

 private:
  class VEKAPI_HIDDEN TImpl;

  int flowCount_ = 0;
  int flowInterval_ = 0;
  TImpl* impl_;
};

// Holds a gate's user lock for its lifetime.
class VEKAPI_EXPORT VekFlowCtrlLocker {
 public:
  // `gate` must outlive the locker.
  explicit VekFlowCtrlLocker(const VekFlowCtrl& gate) : gate_(gate) { gate_.Lock(); }
  ~VekFlowCtrlLocker() { gate_.Unlock(); }
  VekFlowCtrlLocker(const VekFlowCtrlLocker&) = delete;
  VekFlowCtrlLocker& operator=(const VekFlowCtrlLocker&) = delete;

 private:
  const VekFlowCtrl& gate_;
};

}  // namespace VekApi

#endif  // VEKAPI_VEKFLOWCTRL_H
