// Sessions for C++20, header-only, over the flat functions of VekSessionC.h, which documents sessions,
// events, fates, times and numbers. No C++ type is passed to the library, so programs built with any compiler
// may use it.
//
// The server's texts are bytes in code page 950 (ToUtf8); the library's are UTF-8. The classes of results are
// in Result.hpp.
//
// Exceptions. Functions throw only where documented, and std::bad_alloc. An exception thrown by an
// application's function inside a callback is dropped, as if the function had returned.
#ifndef VEKAPI_SESSION_HPP
#define VEKAPI_SESSION_HPP

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <coroutine>
#include <cstdint>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

#include "vekapi/Detached.hpp"
#include "vekapi/Fate.hpp"
#include "vekapi/Milliseconds.hpp"
#include "vekapi/Text.hpp"
#include "vekapi/VekSessionC.h"

namespace VekApi {

// A session. Its functions, including the destructor, may be called on any thread and inside every callback.
// With vsd_Loop it must be destroyed on the thread that created it.
class VekSession {
 public:
  // Receives an event, which is valid until the function returns.
  using OnEvent = std::function<void(const CVekEvent&)>;
  // Receives the fate of one request.
  using Then = std::function<void(VekFate)>;
  // All times.
  using Ms = std::chrono::milliseconds;

  // The default configuration, to be changed and passed to the constructor.
  static CVekSessionConfig Defaults() {
    CVekSessionConfig config;
    CVekSession_Defaults(&config, sizeof config);
    return config;
  }

  // `onEvent` receives all events except the fates passed to a Then or an awaiter. The members onEvent and
  // user of `config` are ignored. With vsd_Poll it is called inside Next. Throws VekError if the
  // configuration is invalid.
  explicit VekSession(CVekSessionConfig config, OnEvent onEvent = {})
      : told_(std::make_shared<Told>(std::move(onEvent))), delivery_(config.delivery) {
    config.onEvent = &TakeEvent, config.user = this;
    std::int32_t reason = 0;
    session_ = CVekSession_Create(&config, &reason);
    if (session_.object == nullptr) throw VekError(reason);
  }

  // Requests without a fate get one before it returns; nothing is called afterwards.
  ~VekSession() {
    if (delivery_ == vsd_Poll) {
      CVekSession_Close(&session_, 0);
      while (Next(Ms(State() == vss_Closed ? 0 : kPatienceMs))) continue;
    }
    CVekSession_Delete(&session_);
  }
  VekSession(const VekSession&) = delete;
  VekSession& operator=(const VekSession&) = delete;

  // For the flat functions. Requests submitted through it must have the tag 0.
  CVekSession* Handle() { return &session_; }

  // ---------------------------------------------------------------------------------------------------------
  // The link

  // As CVekSession_AddEndpoint; throws VekError.
  void AddEndpoint(const std::string& setting) { Check(CVekSession_AddEndpoint(&session_, setting.c_str())); }
  // As CVekSession_AddResync; throws VekError.
  void AddResync(const std::string& query) { Check(CVekSession_AddResync(&session_, query.c_str())); }
  // As CVekSession_SetPassword; throws VekError.
  void SetPassword(const std::string& password) {
    Check(CVekSession_SetPassword(&session_, password.c_str()));
  }
  // Starts to connect; throws VekError if not allowed in this state, or without an endpoint.
  void Open(const std::string& password) {
    SetPassword(password);
    Open();
  }
  void Open() {
    const std::int64_t earlier = SetOpened(Stats().links);
    const std::int32_t reason = CVekSession_Open(&session_);  // *this may be deleted inside
    if (reason != 0) SetOpened(earlier);
    Check(reason);
  }
  // As CVekSession_Close.
  void Close(Ms drain = Ms(0)) {
    SetOpened(kNoLink);
    CVekSession_Close(&session_, Detail::Milliseconds<std::uint32_t>(drain));
  }
  // As CVekSession_RetryIn: 0, or a reason.
  std::int32_t RetryIn(Ms delay) {
    return CVekSession_RetryIn(&session_, Detail::Milliseconds<std::uint32_t>(delay));
  }
  // As CVekSession_ResyncDone: 0, or a reason.
  std::int32_t ResyncDone(std::uint32_t link, bool good) {
    return CVekSession_ResyncDone(&session_, link, good);
  }

  // vss_... as of the last state event delivered.
  std::int32_t State() const {
    const std::lock_guard lock(told_->mutex);
    return told_->state;
  }

  // Waits up to `patience` until the session is up. Returns false on timeout, or once it is refused, stopped
  // or closed; `onEvent` has returned from the event that says so. With vsd_Poll, and with vsd_Loop on the
  // session's thread, events are delivered meanwhile. Throws VekInCallback.
  bool WaitUntilUp(Ms patience) {
    MayWait(false);
    using Clock = std::chrono::steady_clock;
    constexpr Clock::time_point kForever = (Clock::time_point::max)();
    const Clock::time_point begun = Clock::now();
    const bool ends = patience < std::chrono::duration_cast<Ms>(kForever - begun);
    const auto until = ends ? begun + (std::max)(patience, Ms(0)) : kForever;
    for (Ms left = patience; !Settled() && left > Ms(0); left = std::chrono::ceil<Ms>(until - Clock::now())) {
      WaitOnce((std::min)(left, kLongestWait));
    }
    return Settled() && State() == vss_Up;
  }

  // ---------------------------------------------------------------------------------------------------------
  // Requests

  // A request with all options of CVekSubmit; size, text and tag are filled in here. Returns vsf_Refused, or
  // vsf_None: then `then` is called exactly once with the final fate, as an event, possibly before this
  // function returns.
  VekFate Submit(CVekSubmit request, std::string_view text, Then then) {
    auto kept = std::make_unique<Kept>(std::move(then));
    VekFate now = Submit(request, text, *kept);
    if (now.fate != vsf_Refused) static_cast<void>(kept.release());  // it deletes itself
    return now;
  }

  // To be used with co_await, which returns the fate. The coroutine resumes inside the callback, or at once
  // if the request is refused. The thread that awaited may still be inside the library then: a coroutine must
  // not delete its session.
  class Awaiter;
  // A query (code 128). A work id is generated and put in front. Held until it may be sent.
  Awaiter Query(std::string text, Ms answer, Ms hold = Ms(0));
  // A request of code 129, two lines, likewise.
  Awaiter Send(std::string text, Ms answer, Ms hold = Ms(0));

  // The same for threads that wait in get(). They throw VekInCallback in callbacks, and with vsd_Loop on the
  // session's thread, where get() would deadlock. With vsd_Poll another thread must call Next.
  std::future<VekFate> Ask(std::string_view query, Ms answer, Ms hold = Ms(0)) {
    return Promise(cvmc_TaskResult, query, answer, hold);
  }
  // A request of code 129, likewise.
  std::future<VekFate> AskToSend(std::string_view request, Ms answer, Ms hold = Ms(0)) {
    return Promise(cvmc_RequestAck, request, answer, hold);
  }

  // A request as Query and Send submit it: held if necessary, with these times; 0: as configured, below: as
  // short as possible.
  static CVekSubmit Request(std::int32_t code, Ms answer, Ms hold) {
    CVekSubmit request{};
    request.size = sizeof request, request.code = code, request.mode = vsm_Hold;
    request.answerMs = Limit(answer), request.holdMs = Limit(hold);
    return request;
  }

  // As CVekSession_ChangePassword. `then` is called as by Submit and receives the server's text.
  VekFate ChangePassword(const std::string& user, const std::string& before, const std::string& after,
                         Then then) {
    auto kept = std::make_unique<Kept>(std::move(then));
    CVekReceipt receipt = NoReceipt();
    const std::int32_t reason = CVekSession_ChangePassword(&session_, user.c_str(), before.c_str(),
                                                           after.c_str(), kept->Tag(), &receipt);
    VekFate now = Taken(reason, receipt);
    if (now.fate != vsf_Refused) static_cast<void>(kept.release());
    return now;
  }

  // As CVekSession_Withdraw: 0, or vsr_TooLate.
  std::int32_t Withdraw(std::uint64_t ticket) { return CVekSession_Withdraw(&session_, ticket); }
  // Generates a work id not used before by this session.
  std::string NewWorkId() {
    char id[32];
    CVekSession_NewWorkId(&session_, id);
    return id;
  }

  // ---------------------------------------------------------------------------------------------------------
  // Pacing, events, statistics, traces

  // As CVekSession_SetRate; throws VekError.
  void SetRate(std::int32_t count, Ms within) {
    Check(CVekSession_SetRate(&session_, count, Detail::Milliseconds<std::int32_t>(within)));
  }
  // As CVekSession_WaitMs: milliseconds that a request of that code would have to wait; 0: none, -1: unknown.
  std::int32_t WaitMs(std::int32_t code) { return CVekSession_WaitMs(&session_, code); }
  // vsd_Poll: waits up to `timeout` (negative: forever) for one event and calls its receiver. False if there
  // was none.
  bool Next(Ms timeout) {
    CVekEvent event;
    event.size = sizeof event;
    if (CVekSession_Next(&session_, Detail::Milliseconds<std::int32_t>(timeout, -1), &event) != 1)
      return false;
    const std::shared_ptr<Told> told = told_;  // the application may delete *this
    const std::thread::id outer = told->polling.exchange(std::this_thread::get_id());
    TakeEvent(&session_, this, &event);
    told->polling = outer;
    return true;
  }
  // True on a thread that is inside a callback of this session.
  bool InCallback() {
    return CVekSession_InCallback(&session_) || told_->polling.load() == std::this_thread::get_id();
  }
  // Counters since the session was created.
  CVekSessionStats Stats() {
    CVekSessionStats stats{};
    stats.size = sizeof stats;
    CVekSession_Stats(&session_, &stats);
    return stats;
  }
  // As CVekSession_SetTrace.
  void SetTrace(std::int32_t level) { CVekSession_SetTrace(&session_, level); }

 private:
  static constexpr int kPatienceMs = 1000;
  static constexpr Ms kLongestWait = std::chrono::hours(24);
  static constexpr std::int64_t kNoLink = -1;

  // What events leave, also when the application deletes the session in one.
  struct Told {
    explicit Told(OnEvent given) : onEvent(std::move(given)) {}

    void Begin(const CVekEvent& event) {
      const std::lock_guard lock(mutex);
      state = event.state, link = event.link, stale = false;
      ++states;
    }
    void End() {
      const std::lock_guard lock(mutex);
      ++handled;
      changed.notify_all();
    }
    bool IsSettled() const {
      const bool settled =
          state == vss_Up || state == vss_Refused || state == vss_Stopped || state == vss_Closed;
      return settled && !stale && handled == states && link > before;
    }

    const OnEvent onEvent;
    std::atomic<std::thread::id> polling{};  // the thread inside Next that calls a receiver
    std::atomic<std::uint64_t> states{0};    // number of state events
    std::mutex mutex;                        // guards what follows, and changes of `states`
    std::condition_variable changed;
    std::uint64_t handled = 0;  // number of state events that onEvent has returned from
    std::int32_t state = vss_Closed;
    std::int64_t link = 0;          // of the last state event
    std::int64_t before = kNoLink;  // the last link before Open
    bool stale = false;             // another state event will follow
  };

  // Receiver of a fate; its address is the request's tag.
  class Waiter {
   public:
    std::uint64_t Tag() { return reinterpret_cast<std::uintptr_t>(this); }
    virtual void Told(VekFate fate) = 0;

   protected:
    ~Waiter() = default;
  };

  struct Kept final : Waiter {
    explicit Kept(Then given) : then(std::move(given)) {}
    void Told(VekFate fate) override {
      const std::unique_ptr<Kept> own(this);
      if (then) then(std::move(fate));
    }
    Then then;
  };

  static std::uint32_t Limit(Ms time) {
    return Detail::Milliseconds<std::uint32_t>(time, time < Ms(0) ? 1 : 0);
  }
  static void Check(std::int32_t reason) {
    if (reason != 0) throw VekError(reason);
  }
  static CVekReceipt NoReceipt() {
    CVekReceipt receipt{};
    receipt.size = sizeof receipt;
    return receipt;
  }

  static VekFate Taken(std::int32_t reason, const CVekReceipt& receipt) {
    VekFate now;
    now.fate = reason == 0 ? vsf_None : vsf_Refused, now.reason = reason;
    now.ticket = receipt.ticket, now.waitMs = receipt.waitMs, now.link = receipt.link;
    try {
      now.workId = receipt.workId;
    } catch (const std::bad_alloc&) {  // the request is accepted, which must be returned
    }
    return now;
  }

  // The waiter may be deleted before this returns.
  VekFate Submit(CVekSubmit request, std::string_view text, Waiter& waiter) {
    request.size = sizeof request, request.text = text.data();
    request.textLength = Detail::Length(text.size());
    request.tag = waiter.Tag();
    CVekReceipt receipt = NoReceipt();
    const std::uint64_t told = told_->states;
    const std::int32_t reason = CVekSession_Submit(&session_, &request, &receipt);
    if (reason == vsr_NotUp) ExpectState(told);
    return Taken(reason, receipt);
  }

  std::future<VekFate> Promise(std::int32_t code, std::string_view text, Ms answer, Ms hold) {
    MayWait(delivery_ == vsd_Loop);
    const auto promise = std::make_shared<std::promise<VekFate>>();
    std::future<VekFate> future = promise->get_future();
    VekFate now = Submit(Request(code, answer, hold), text,
                         [promise](VekFate fate) { promise->set_value(std::move(fate)); });
    if (now.fate == vsf_Refused) promise->set_value(std::move(now));
    return future;
  }

  void MayWait(bool ownThreadToo) {
    if (InCallback() || (ownThreadToo && std::this_thread::get_id() == thread_)) throw VekInCallback();
  }

  // Waits for events; may return without any.
  void WaitOnce(Ms left) {
    if (delivery_ == vsd_Poll) {
      Next(left);
    } else if (delivery_ == vsd_Loop && std::this_thread::get_id() == thread_) {
      CVekMessageLoop_Dispatch(Detail::Milliseconds<int>(left));
    } else {
      std::unique_lock lock(told_->mutex);
      told_->changed.wait_for(lock, left, [this] { return told_->IsSettled(); });
    }
  }

  // State events of links up to `before` do not tell how the attempt goes. Returns the previous value.
  std::int64_t SetOpened(std::int64_t before) {
    const std::lock_guard lock(told_->mutex);
    return std::exchange(told_->before, before);
  }
  // The session is no longer up: a state event must follow, unless it has been delivered since `told`.
  void ExpectState(std::uint64_t told) {
    const std::lock_guard lock(told_->mutex);
    if (told == told_->states && told_->state == vss_Up) told_->stale = true;
  }
  bool Settled() const {
    const std::lock_guard lock(told_->mutex);
    return told_->IsSettled();
  }

  // The numbers are always delivered, the texts if there is memory for them.
  static VekFate FateOf(CVekSession* session, const CVekEvent& event) {
    VekFate given;
    given.fate = event.fate, given.reason = event.reason;
    given.ticket = event.ticket, given.link = event.link;
    try {
      given.workId = event.workId, given.detail = event.detail;
      given.text.assign(event.text, event.textLength);
      given.result = VekResult::Keep(session, event);
    } catch (const std::bad_alloc&) {
    }
    return given;
  }

  static void TakeEvent(CVekSession* session, void* user, const CVekEvent* event) noexcept {
    try {
      if (event->kind == vse_Fate && event->tag != 0) {
        auto* const waiter = reinterpret_cast<Waiter*>(static_cast<std::uintptr_t>(event->tag));
        waiter->Told(FateOf(session, *event));
      } else {
        static_cast<VekSession*>(user)->Tell(*event);
      }
    } catch (...) {  // the application's own
    }
  }

  // The application may delete *this.
  void Tell(const CVekEvent& event) {
    const std::shared_ptr<Told> told = told_;
    const auto end = [](Told* ended) { ended->End(); };
    std::unique_ptr<Told, void (*)(Told*)> state(nullptr, end);
    if (event.kind == vse_State) {
      told->Begin(event);
      state.reset(told.get());
    }
    if (told->onEvent) told->onEvent(event);
  }

  const std::shared_ptr<Told> told_;
  const std::int32_t delivery_;
  const std::thread::id thread_ = std::this_thread::get_id();
  CVekSession session_{};
};

// Returned by Query and Send, for co_await.
class VekSession::Awaiter final : private VekSession::Waiter {
 public:
  // `session` must live until the coroutine resumes.
  Awaiter(VekSession& session, CVekSubmit request, std::string text)
      : session_(session), request_(request), text_(std::move(text)) {}

  // The request is not sent before the coroutine suspends.
  bool await_ready() const noexcept { return false; }
  // Once submitted, *this must not be used: the coroutine may have ended.
  bool await_suspend(std::coroutine_handle<> waiting) {
    waiting_ = waiting;
    const std::string text = std::move(text_);
    VekFate now = session_.Submit(request_, text, static_cast<Waiter&>(*this));
    if (now.fate != vsf_Refused) return true;
    fate_ = std::move(now);
    return false;
  }
  // The fate.
  VekFate await_resume() { return std::move(fate_); }

 private:
  void Told(VekFate fate) override {
    fate_ = std::move(fate);
    waiting_.resume();
  }

  VekSession& session_;
  CVekSubmit request_;
  std::string text_;
  std::coroutine_handle<> waiting_;
  VekFate fate_;
};

inline VekSession::Awaiter VekSession::Query(std::string text, Ms answer, Ms hold) {
  return {*this, Request(cvmc_TaskResult, answer, hold), std::move(text)};
}

inline VekSession::Awaiter VekSession::Send(std::string text, Ms answer, Ms hold) {
  return {*this, Request(cvmc_RequestAck, answer, hold), std::move(text)};
}

}  // namespace VekApi

#endif  // VEKAPI_SESSION_HPP
