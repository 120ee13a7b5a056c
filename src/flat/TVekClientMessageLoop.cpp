#include "flat/TVekClientMessageLoop.h"

#include <new>
#include <utility>

#include "platform/os/Thread.h"

VekApiC_VekClient* TVekClientMessageLoop::CreateClient(const CVekClientCallbacks& callbacks, void* user) {
  auto* const loop = new TVekClientMessageLoop;
  try {
    if (loop->Open(callbacks, user)) return loop->client_;
  } catch (...) {
    loop->Dismiss();
    throw;
  }
  loop->Dismiss();
  return nullptr;
}

TVekClientMessageLoop::TVekClientMessageLoop()
    : thread_(Dova::Os::CurrentThreadToken()), clock_(Dova::TTimerQueue::Current()) {}

bool TVekClientMessageLoop::Open(const CVekClientCallbacks& callbacks, void* user) {
  window_ = Dova::Os::AllocateHWnd_Impl(*this);
  if (!window_) return false;
  pending_ = std::make_shared<TPendingEvRecs>(window_, kEventsQueued);
  view_ = pending_->View();
  client_ = new VekApiC_VekClient(callbacks, user, *this, *this);
  return true;
}

void TVekClientMessageLoop::Dismiss() {
  if (window_) {
    Dova::Os::DeallocateHWnd(window_);
  } else {
    delete this;
  }
}

// ---- the raising thread: events that are rare ----

void TVekClientMessageLoop::OnVekUnknownMsgCodeEvent(VekApi::VekClient&, int msgCode, const char* packet,
                                                     int length) {
  Push(&CVekClientCallbacks::OnVekUnknownMsgCodeEvent, pev_UnknownMsgCode, msgCode,
       {packet, static_cast<std::size_t>(length)});
}

// The end of a session is reported even without memory. A link whose server's name cannot be kept ends.
void TVekClientMessageLoop::OnVekConnectEvent(VekApi::VekClient& client, const std::string& reason) {
  try {
    const TSessionViewRef before = pending_->View();
    if (before->serverName != client.ServerName()) {
      pending_->SetView(std::make_shared<TSessionView>(before->sgnResult, client.ServerName()));
    }
    Push(&CVekClientCallbacks::OnVekConnectEvent, pev_Connect, -1, reason);
  } catch (const std::bad_alloc&) {
    const VekApi::EVekClientState state = client.State();
    if (state >= VekApi::vcs_Connected || state == VekApi::vcs_ConnectError) throw;
    if (client_->Wants(&CVekClientCallbacks::OnVekConnectEvent)) pending_->PushNoMemory(state);
  }
}

void TVekClientMessageLoop::OnVekApReadyEvent(VekApi::VekClient& client) {
  auto result = std::make_shared<VekApi::VekTaskResult>(client.SgnResult());
  pending_->SetView(std::make_shared<TSessionView>(std::move(result), client.ServerName()));
  Push(&CVekClientCallbacks::OnVekApReadyEvent, pev_ApReady, -1, {});
}

// Queued events are dropped before the last callback, so that it is the last even if it runs a nested loop.
void TVekClientMessageLoop::OnVekClientDestroyEvent(VekApi::VekClient& client) {
  pending_->Close();
  destroying_ = true;
  client_->OnVekClientDestroyEvent(client);
  Dova::Os::DeallocateHWnd(window_);
}
