#include "flat/FlowCtrlMessageLoops.h"

#include <memory>

#include "flat/CallBack.h"

TFlowCtrlMessageLoop::TFlowCtrlMessageLoop(const CVekFlowCtrlCallbacks& callbacks, void* user)
    : callbacks_(callbacks), user_(user) {}

TFlowCtrlMessageLoop* TFlowCtrlMessageLoop::Make(const CVekFlowCtrlCallbacks& callbacks, void* user) {
  std::unique_ptr<TFlowCtrlMessageLoop> made(new TFlowCtrlMessageLoop(callbacks, user));
  return made->notice_ ? made.release() : nullptr;
}

TFlowCtrlMessageLoop::~TFlowCtrlMessageLoop() {
  CloseGate();
}

void TFlowCtrlMessageLoop::OnTold() {
  VekApi::Flat::CallBack<CVekFlowCtrl>(callbacks_.OnVekFlowCtrlFree, static_cast<VekFlowCtrl*>(this), user_);
}

TFlowCtrlSenderMessageLoop::TFlowCtrlSenderMessageLoop(VekApi::VekClient& client,
                                                       const CVekFlowCtrlSenderCallbacks& callbacks,
                                                       void* user)
    : CVekApiC_FlowCtrlSender(client), callbacks_(callbacks), user_(user) {}

TFlowCtrlSenderMessageLoop* TFlowCtrlSenderMessageLoop::Make(VekApi::VekClient& client,
                                                             const CVekFlowCtrlSenderCallbacks& callbacks,
                                                             void* user) {
  std::unique_ptr<TFlowCtrlSenderMessageLoop> made(new TFlowCtrlSenderMessageLoop(client, callbacks, user));
  return made->notice_ ? made.release() : nullptr;
}

TFlowCtrlSenderMessageLoop::~TFlowCtrlSenderMessageLoop() {
  CloseGate();
}

void TFlowCtrlSenderMessageLoop::OnVekRequestsSent(unsigned requests, bool taken) {
  (taken ? sent_ : refused_) += requests;
  notice_.Tell();
}

void TFlowCtrlSenderMessageLoop::OnTold() {
  const unsigned sent = sent_.exchange(0);
  const unsigned refused = refused_.exchange(0);
  VekApi::Flat::CallBack<CVekFlowCtrlSender>(callbacks_.OnVekFlowCtrlSenderSent,
                                             static_cast<VekFlowCtrl*>(this), user_, sent, refused);
}
