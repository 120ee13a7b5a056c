// Requests' answers and reports, on their way from the raising thread to the window's.
#include "flat/TVekClientMessageLoop.h"

#include <chrono>
#include <mutex>
#include <utility>

#include "platform/os/Thread.h"
#include "session/TImpl.h"

namespace {

// Limits of one message's part of the events; whichever is reached first.
constexpr int kEventsAtOnce = 1000;
constexpr std::chrono::milliseconds kTimeAtOnce(10);

std::uintptr_t Parameter(const void* pointer) {
  return reinterpret_cast<std::uintptr_t>(pointer);
}

}  // namespace

// A message being handled, possibly nested inside the callback of another one, and the client's state at the
// event whose callback is running. A callback that deletes the client marks all frames; they then unwind
// without accessing the loop.
struct TVekClientMessageLoop::TFrame {
  explicit TFrame(TVekClientMessageLoop& owner) : loop(owner), outer(std::exchange(owner.frame_, this)) {}
  ~TFrame() {
    if (!destroyed) loop.frame_ = outer;
  }
  TFrame(const TFrame&) = delete;
  TFrame& operator=(const TFrame&) = delete;

  TVekClientMessageLoop& loop;
  TFrame* const outer;
  VekApi::EVekClientState state = VekApi::vcs_None;
  TSessionViewRef view{};
  bool destroyed = false;
};

// ---- the raising thread ----

void TVekClientMessageLoop::OnText(int msgCode, std::string_view text) {
  if (msgCode == VekApi::PkReport) return Push(&CVekClientCallbacks::OnVekReportEvent, pev_Report, -1, text);
  Push(&CVekClientCallbacks::OnVekRequestAckEvent, pev_RequestAck, msgCode, text);
}

void TVekClientMessageLoop::OnVekTaskResultEvent(VekApi::VekClient&, const VekApi::VekTaskResult& result) {
  if (!client_->Wants(&CVekClientCallbacks::OnVekTaskResultEvent)) return;
  const CVekTaskResult handle{&result};
  SendToWindow({kTaskResult, Parameter(&handle), Parameter(&handle)}, {.result = &result});
}

void TVekClientMessageLoop::OnVekChgPassResultEvent(VekApi::VekClient&, const std::string& user,
                                                    const std::string& resultText) {
  if (!client_->Wants(&CVekClientCallbacks::OnVekChgPassResultEvent)) return;
  SendToWindow({kChgPassResult, Parameter(user.c_str()), Parameter(resultText.c_str())},
               {.user = &user, .resultText = &resultText});
}

// The callback may delete the client and the loop: everything needed to return is on this stack.
void TVekClientMessageLoop::SendToWindow(const Dova::Os::TMessage& message, const TLent& lent) {
  const std::shared_ptr<TPendingEvRecs> pending = pending_;
  const Dova::Os::TWindowRef window = window_;
  const std::uintptr_t me = Dova::Os::CurrentThreadToken();
  TLoan loan{message,
             lent,
             VekApi::ContextOf(client_->Client()),
             me,
             client_->Client().State(),
             me != thread_ ? TPendingEvRecs::kPatience : 0};
  if (!pending->Add(loan)) return;
  // Also if a runtime ends this thread meanwhile.
  struct TAdded {
    TPendingEvRecs& pending;
    TLoan& loan;
    ~TAdded() { pending.Remove(loan); }
  } const added{*pending, loan};
  window->Send(message);
  while (pending->WasPutOff(loan)) {
    pending->WaitForTurn(loan);
    window->Send(message);
  }
}

// ---- what the client is asked ----

const TVekClientMessageLoop::TFrame* TVekClientMessageLoop::Delivering() const {
  return Dova::Os::CurrentThreadToken() == thread_ && !destroying_ ? frame_ : nullptr;
}

VekApi::EVekClientState TVekClientMessageLoop::State() const {
  const TFrame* const frame = Delivering();
  return frame ? frame->state : client_->Client().State();
}

// Outside callbacks the current view is kept until the next query.
const TSessionView& TVekClientMessageLoop::View() const {
  if (const TFrame* const frame = Delivering()) return *frame->view;
  TSessionViewRef now = pending_->View();
  const std::lock_guard lock(shownMutex_);
  shown_.swap(now);
  return *shown_;
}

const VekApi::VekTaskResult& TVekClientMessageLoop::SgnResult() const {
  return *View().sgnResult;
}

const char* TVekClientMessageLoop::ServerName() const {
  return View().serverName.c_str();
}

// ---- the window's thread ----

bool TVekClientMessageLoop::OnMessage(const Dova::Os::TMessage& message) {
  switch (message.code) {
    case kEventsQueued:
      OnEventsQueued();
      return true;
    case kTaskResult:
    case kChgPassResult:
      if (TLoan* const loan = pending_->Answer(message)) OnSent(*loan);
      return true;
    default:
      return false;
  }
}

void TVekClientMessageLoop::OnWindowGone() {
  for (TFrame* frame = frame_; frame; frame = frame->outer) frame->destroyed = true;
  delete this;
}

void TVekClientMessageLoop::OnEventsQueued() {
  TFrame frame(*this);
  if (Drain(frame, true) == EDrained::Part && !window_->PostLast(kEventsQueued)) pending_->PostAgain();
}

// All: nothing is queued, or the next event must follow a result. Destroyed: a callback has deleted the
// client and this loop.
TVekClientMessageLoop::EDrained TVekClientMessageLoop::Drain(TFrame& frame, bool bounded) {
  const Dova::Os::TTime end = clock_.Now() + kTimeAtOnce;
  TPendingEv event;
  TEventBatchRef batch;
  for (int count = 0; pending_->Pop(event, batch); ++count) {
    if (event.view) view_ = std::move(event.view);
    if (frame.view != view_) frame.view = view_;
    frame.state = event.state;
    Deliver(event);
    if (frame.destroyed) return EDrained::Destroyed;
    if (bounded && (count + 1 >= kEventsAtOnce || clock_.Now() >= end)) return EDrained::Part;
  }
  return EDrained::All;
}

void TVekClientMessageLoop::Deliver(const TPendingEv& event) {
  const char* const text = event.text.data();
  switch (event.kind) {
    case pev_UnknownMsgCode:
      return client_->TellUnknownMsgCode(event.num, text, static_cast<int>(event.text.size()));
    case pev_Connect:
      return client_->TellConnect(text);
    case pev_ApReady:
      return client_->TellApReady();
    case pev_RequestAck:
      return client_->TellText(event.num, text);
    case pev_Report:
      return client_->TellText(VekApi::PkReport, text);
    default:
      return;
  }
}

// Events before a result are delivered in messages of their own as long as the thread accepts those;
// otherwise it is waiting and answers only sent messages.
void TVekClientMessageLoop::OnSent(TLoan& loan) {
  if (!pending_->PutOff(loan)) DeliverInItsPlace(loan);
}

void TVekClientMessageLoop::DeliverInItsPlace(TLoan& loan) {
  const Dova::TSyncContext::TAdopt inside(loan.context, loan.lender);
  TFrame frame(*this);
  if (Drain(frame, loan.lender != thread_) != EDrained::All) return;
  pending_->SetOver(loan);
  frame.view = loan.view;
  frame.state = loan.state;
  DeliverLent(loan.lent);
}

void TVekClientMessageLoop::DeliverLent(const TLent& lent) {
  if (lent.result) {
    client_->OnVekTaskResultEvent(client_->Client(), *lent.result);
  } else {
    client_->OnVekChgPassResultEvent(client_->Client(), *lent.user, *lent.resultText);
  }
}
