#include "flat/VekApiC_FlowCtrl.h"

#include "flat/CallBack.h"

VekApiC_FlowCtrl::VekApiC_FlowCtrl(const CVekFlowCtrlCallbacks& callbacks, void* user)
    : callbacks_(callbacks), user_(user) {}

VekApiC_FlowCtrl::~VekApiC_FlowCtrl() {
  CloseGate();
}

void VekApiC_FlowCtrl::OnVekFlowCtrlFree() {
  VekApi::Flat::CallBack<CVekFlowCtrl>(callbacks_.OnVekFlowCtrlFree, static_cast<VekFlowCtrl*>(this), user_);
}
