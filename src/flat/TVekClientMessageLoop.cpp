#include "flat/TVekClientMessageLoop.h"

#include <algorithm>
#include <utility>

#include "flat/CallBack.h"
#include "flat/VekApiC_VekClient.h"
#include "platform/os/Thread.h"
#include "session/TImpl.h"

namespace {

constexpr unsigned kRetryMs = 1000;
constexpr std::uint64_t kAll = UINT64_MAX;

using TContextRef = Dstl::wise_ref<Dova::TSyncContext>;

const TContextRef& ContextOf(VekApiC_VekClient& client) {
  return VekApi::ContextOf(client.Client());
}

std::uintptr_t Parameter(const void* pointer) {
  return reinterpret_cast<std::uintptr_t>(pointer);
}

template <class T>
const T* Pointer(std::uintptr_t parameter) {
  return reinterpret_cast<const T*>(parameter);
}

TVekClientMessageLoop& LoopOf(void* user) {
  return *static_cast<TVekClientMessageLoop*>(user);
}

}  // namespace

// What a thread hands over with a message that it sends: its place inside the context, and how many events it
// has to come behind. It waits, and the loan lives, until the window's thread has handled that message.
struct TVekClientMessageLoop::TLoan {
  Dova::Os::TMessage message;
  TContextRef context;
  std::uintptr_t lender;
  std::uint64_t behind;
};

// A message being handled, perhaps inside the callback of another one. When a callback deletes the client it
// marks them all: they unwind without touching the loop.
struct TVekClientMessageLoop::TFrame {
  TFrame(TVekClientMessageLoop& owner, std::uint64_t behind)
      : loop(owner), outer(owner.frame_), upTo(outer ? std::min(behind, outer->upTo) : behind) {
    owner.frame_ = this;
  }
  ~TFrame() {
    if (!destroyed) loop.frame_ = outer;
  }
  TFrame(const TFrame&) = delete;
  TFrame& operator=(const TFrame&) = delete;

  TVekClientMessageLoop& loop;
  TFrame* const outer;
  std::uint64_t upTo;  // queued events behind that number have to wait for a result further out
  bool destroyed = false;
};

VekApiC_VekClient* TVekClientMessageLoop::CreateClient(const CVekClientCallbacks& callbacks, void* user) {
  auto* const loop = new TVekClientMessageLoop(callbacks, user);
  if (!loop->window_) {
    delete loop;
    return nullptr;
  }
  try {
    loop->client_ = new VekApiC_VekClient(Forwarders(), loop);
  } catch (...) {
    Dova::Os::DeallocateHWnd(loop->window_);
    throw;
  }
  return loop->client_;
}

TVekClientMessageLoop::TVekClientMessageLoop(const CVekClientCallbacks& callbacks, void* user)
    : callbacks_(callbacks),
      user_(user),
      window_(Dova::Os::AllocateHWnd_Impl(*this)),
      retry_(Dova::ots_OneShot, *this) {}

// ---- the raising thread ----

CVekClientCallbacks TVekClientMessageLoop::Forwarders() {
  CVekClientCallbacks all{};
  all.OnVekUnknownMsgCodeEvent = OnUnknownMsgCode;
  all.OnVekConnectEvent = OnConnect;
  all.OnVekApReadyEvent = OnApReady;
  all.OnVekTaskResultEvent = OnTaskResult;
  all.OnVekChgPassResultEvent = OnChgPassResult;
  all.OnVekRequestAckEvent = OnRequestAck;
  all.OnVekReportEvent = OnReport;
  all.OnVekClientDestroyEvent = OnClientDestroy;
  return all;
}

void TVekClientMessageLoop::OnUnknownMsgCode(CVekClient*, void* user, int msgCode, const char* packet,
                                             int length) {
  TVekClientMessageLoop& loop = LoopOf(user);
  if (!loop.callbacks_.OnVekUnknownMsgCodeEvent) return;
  loop.Enqueue({pev_UnknownMsgCode, msgCode, std::string(packet, static_cast<std::size_t>(length))});
}

void TVekClientMessageLoop::OnConnect(CVekClient*, void* user, const char* reason) {
  TVekClientMessageLoop& loop = LoopOf(user);
  if (loop.callbacks_.OnVekConnectEvent) loop.Enqueue({pev_Connect, -1, reason});
}

void TVekClientMessageLoop::OnApReady(CVekClient*, void* user) {
  TVekClientMessageLoop& loop = LoopOf(user);
  if (loop.callbacks_.OnVekApReadyEvent) loop.Enqueue({pev_ApReady});
}

void TVekClientMessageLoop::OnRequestAck(CVekClient*, void* user, int msgCode, const char* ackText) {
  TVekClientMessageLoop& loop = LoopOf(user);
  if (loop.callbacks_.OnVekRequestAckEvent) loop.Enqueue({pev_RequestAck, msgCode, ackText});
}

void TVekClientMessageLoop::OnReport(CVekClient*, void* user, const char* reportText) {
  TVekClientMessageLoop& loop = LoopOf(user);
  if (loop.callbacks_.OnVekReportEvent) loop.Enqueue({pev_Report, -1, reportText});
}

void TVekClientMessageLoop::OnTaskResult(CVekClient*, void* user, const CVekTaskResult* result) {
  TVekClientMessageLoop& loop = LoopOf(user);
  if (!loop.callbacks_.OnVekTaskResultEvent) return;
  loop.SendToWindow({kTaskResult, Parameter(result), Parameter(result)});
}

void TVekClientMessageLoop::OnChgPassResult(CVekClient*, void* user, const char* userId,
                                            const char* resultText) {
  TVekClientMessageLoop& loop = LoopOf(user);
  if (!loop.callbacks_.OnVekChgPassResultEvent) return;
  loop.SendToWindow({kChgPassResult, Parameter(userId), Parameter(resultText)});
}

// Other events that still wait are dropped before the last callback: it is the last also when it runs a
// message loop of its own.
void TVekClientMessageLoop::OnClientDestroy(CVekClient*, void* user) {
  TVekClientMessageLoop& loop = LoopOf(user);
  loop.pending_.Close();
  loop.Call(loop.callbacks_.OnVekClientDestroyEvent);
  Dova::Os::DeallocateHWnd(loop.window_);
}

// Events that wait have a message that tells of them, so only the first of a row posts one.
void TVekClientMessageLoop::Enqueue(TPendingEvRec rec) {
  const std::lock_guard lock(pending_.mutex);
  if (pending_.closed) return;
  if (pending_.recs.empty()) PostEventsQueued();
  pending_.recs.push_back(std::move(rec));
  ++pending_.pushed;
}

// With the queue's mutex held: a retry that succeeds must not stop the timer that a later post, which failed,
// has started.
void TVekClientMessageLoop::PostEventsQueued() {
  if (window_->Post(kEventsQueued)) {
    retry_.Stop();
  } else {
    retry_.Start(&TVekClientMessageLoop::PostAgain, kRetryMs);
  }
}

void TVekClientMessageLoop::PostAgain() {
  const std::lock_guard lock(pending_.mutex);
  if (!pending_.recs.empty()) PostEventsQueued();
}

// The callback may delete the client and with it the loop: what is needed to return is on this stack.
void TVekClientMessageLoop::SendToWindow(const Dova::Os::TMessage& message) {
  const Dova::Os::TWindowRef window = window_;
  TLoan loan{message, ContextOf(*client_), Dova::Os::CurrentThreadToken(), pending_.Pushed()};
  loan_.store(&loan);
  window->Send(message);
}

// ---- the window's thread ----

bool TVekClientMessageLoop::OnMessage(const Dova::Os::TMessage& message) noexcept {
  switch (message.code) {
    case kEventsQueued: {
      const TFrame frame(*this, kAll);
      Drain(frame);
      return true;
    }
    case kTaskResult:
    case kChgPassResult:
      if (const TLoan* const loan = TakeLoan(message)) DeliverInItsPlace(*loan);
      return true;
    default:
      return false;
  }
}

void TVekClientMessageLoop::OnWindowGone() noexcept {
  for (TFrame* frame = frame_; frame; frame = frame->outer) frame->destroyed = true;
  delete this;
}

// False when a callback has deleted the client: nothing of the loop is there any more.
bool TVekClientMessageLoop::Drain(const TFrame& frame) {
  for (TPendingEvRec rec; pending_.Pop(rec, frame.upTo);) {
    Deliver(rec);
    if (frame.destroyed) return false;
  }
  return true;
}

void TVekClientMessageLoop::Deliver(const TPendingEvRec& rec) {
  const char* const text = rec.text.c_str();
  switch (rec.kind) {
    case pev_UnknownMsgCode:
      return Call(callbacks_.OnVekUnknownMsgCodeEvent, rec.num, text, static_cast<int>(rec.text.size()));
    case pev_Connect:
      return Call(callbacks_.OnVekConnectEvent, text);
    case pev_ApReady:
      return Call(callbacks_.OnVekApReadyEvent);
    case pev_RequestAck:
      return Call(callbacks_.OnVekRequestAckEvent, rec.num, text);
    case pev_Report:
      return Call(callbacks_.OnVekReportEvent, text);
    default:
      return;
  }
}

// Null for a message that is not of SendToWindow's making: whatever sends to windows may have sent it, and
// its pointers lead nowhere.
const TVekClientMessageLoop::TLoan* TVekClientMessageLoop::TakeLoan(const Dova::Os::TMessage& message) {
  const TLoan* const loan = loan_.load();
  if (!loan || loan->message != message) return nullptr;
  loan_.store(nullptr);
  return loan;
}

// What was queued before the result comes first, and nothing that its callbacks, or the result's own, bring
// about: so everything keeps the order of the wire.
void TVekClientMessageLoop::DeliverInItsPlace(const TLoan& loan) {
  const Dova::TSyncContext::TAdopt inside(loan.context, loan.lender);
  TFrame frame(*this, loan.behind);
  if (!Drain(frame)) return;
  frame.upTo = frame.outer ? frame.outer->upTo : kAll;
  DeliverLent(loan.message);
  if (!frame.destroyed) PostAgain();  // a message that told of later events may have come in between
}

void TVekClientMessageLoop::DeliverLent(const Dova::Os::TMessage& message) {
  if (message.code == kTaskResult) {
    Call(callbacks_.OnVekTaskResultEvent, Pointer<CVekTaskResult>(message.first));
  } else {
    Call(callbacks_.OnVekChgPassResultEvent, Pointer<char>(message.first), Pointer<char>(message.second));
  }
}

template <class Callback, class... Args>
void TVekClientMessageLoop::Call(Callback callback, Args... args) noexcept {
  VekApi::Flat::CallBack<CVekClient>(callback, client_, user_, args...);
}
