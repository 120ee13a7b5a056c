#include "flat/VekApiC_FlowCtrl.h"

VekApiC_FlowCtrl::VekApiC_FlowCtrl(const CVekFlowCtrlCallbacks& callbacks, void* user)
    : callbacks_(callbacks), user_(user) {}

VekApiC_FlowCtrl::~VekApiC_FlowCtrl() {
  CloseGate();
}

// What a callback throws ends here: the locks above it belong to the gate.
void VekApiC_FlowCtrl::OnVekFlowCtrlFree() {
  if (!callbacks_.OnVekFlowCtrlFree) return;
  CVekFlowCtrl handle{static_cast<VekFlowCtrl*>(this)};
  try {
    callbacks_.OnVekFlowCtrlFree(&handle, user_);
  } catch (...) {
  }
}
