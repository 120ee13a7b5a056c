#ifndef VEKAPI_VEKFLOWCTRL_H
#define VEKAPI_VEKFLOWCTRL_H

#include <string>

#include "vekapi/VekExport.h"

namespace VekApi {

// A gate that paces requests of code 129: at most so many within so many milliseconds, as the server counts
// them. The time of a request runs from its acknowledgement, so acknowledgements must be handed in
// (VekAckParser, SetAckTime).
//
// Before each request ask CheckFlowCtrl. When the gate is closed, ask again later, or call StartCheckTimer
// once and wait for OnVekFlowCtrlFree.
//
// Requests that were sent over a link that has ended are never acknowledged and keep their places: call
// SetFlowCtrl again when a new session is ready.
//
// Threads: everything but construction and destruction may be called on any thread. A gate has two locks: the
// user lock, which Lock takes, and inside it the limiter's, which every check and acknowledgement takes for a
// moment. Both may be taken again by the thread that holds them. Events of a client come before both: with
// the user lock held, do not connect, disconnect or delete a client, nor wait for a thread that does. Whoever
// waits for the gate while holding a lock of the application's must not need that lock in OnVekFlowCtrlFree.
class VEKAPI_EXPORT VekFlowCtrl {
 public:
  // Not configured: everything may go.
  VekFlowCtrl();
  VekFlowCtrl(const VekFlowCtrl&) = delete;
  VekFlowCtrl& operator=(const VekFlowCtrl&) = delete;

  // Waits for an event that is running on another thread, unless CloseGate has done so. Nobody else may be
  // using the gate by then, or hold its user lock with Lock or VekFlowCtrlLocker. Its timer may be due.
  virtual ~VekFlowCtrl();

 protected:
  // The gate is open again: it was checked because of an acknowledgement, StartCheckTimer or its timer, and a
  // request may go now. Runs on the thread that handed in the acknowledgement or called StartCheckTimer, or
  // on a timer thread, with both locks of the gate held: nobody else can take the free place before this
  // event does.
  //
  // It may call everything of this gate and send with any client; what it calls may raise it again, nested.
  // It may delete this gate, on three conditions: nothing of the gate is touched afterwards, nobody else uses
  // it, and the call that raised the event was not made under a Lock or VekFlowCtrlLocker. It may not
  // connect, disconnect or delete a client, nor wait for a thread that uses this gate or is inside an event
  // of a client. It must not throw.
  virtual void OnVekFlowCtrlFree() = 0;

 public:
  bool IsFlowCfg() const;

  // Switches pacing off and forgets what was sent. Who waits for OnVekFlowCtrlFree gets it soon, from the
  // timer.
  void Clear();

  // Forgets what was sent and allows `count` requests within any `ms` milliseconds; with either below 1 the
  // same as Clear. Acknowledgements that are still on their way count for what is sent from now on: best
  // called before the first request of a session. Raises nothing before it returns; who waits for
  // OnVekFlowCtrlFree (StartCheckTimer, a held request) gets it by the new rate.
  void SetFlowCtrl(int count, int ms);

  // `n` requests were acknowledged; more than were sent and not yet acknowledged do not count. May raise
  // OnVekFlowCtrlFree before it returns.
  void SetAckTime(unsigned n);

  // To be called with what OnVekRequestAckEvent brought. For code 129, calls SetAckTime with the number of
  // non-empty lines that a line feed ends, and one for what follows the last line feed, even when nothing
  // does. The text ends at its first NUL. Other codes are ignored.
  void VekAckParser(int code, const std::string& text);

  // 0: one request may go now, and is counted as sent. Any other value: not now. Up to 0x7FFFFFFF it is the
  // milliseconds after which to ask again; above, only an acknowledgement can help, and nobody knows when it
  // comes.
  unsigned CheckFlowCtrl();

  // Raises OnVekFlowCtrlFree when a request may go: at once, on this thread, or later. Does nothing when not
  // configured.
  void StartCheckTimer();

  // Lets the calling thread sleep for so many milliseconds; for one when `ms` is above 0x7FFFFFFF, so that
  // any answer of CheckFlowCtrl may be slept upon before asking again.
  static void Sleep(unsigned ms);

  void Lock() const;
  void Unlock() const;

 protected:
  // For the destructor of every derived class, first thing: waits for an event that is running on another
  // thread; no event comes afterwards, so that what OnVekFlowCtrlFree uses may go.
  void CloseGate() noexcept;

  // Unless the timer is looking already: raises OnVekFlowCtrlFree from it as soon as a request may go, in
  // `ms` milliseconds at the earliest; also when nothing is configured, as everything may go then.
  void LookSoon(unsigned ms);

 private:
  class VEKAPI_HIDDEN TImpl;

  int flowCount_ = 0;
  int flowInterval_ = 0;
  TImpl* impl_;
};

// Holds the user lock of a gate as long as it lives.
class VEKAPI_EXPORT VekFlowCtrlLocker {
 public:
  explicit VekFlowCtrlLocker(const VekFlowCtrl& gate) : gate_(gate) { gate_.Lock(); }
  ~VekFlowCtrlLocker() { gate_.Unlock(); }
  VekFlowCtrlLocker(const VekFlowCtrlLocker&) = delete;
  VekFlowCtrlLocker& operator=(const VekFlowCtrlLocker&) = delete;

 private:
  const VekFlowCtrl& gate_;
};

}  // namespace VekApi

#endif  // VEKAPI_VEKFLOWCTRL_H
