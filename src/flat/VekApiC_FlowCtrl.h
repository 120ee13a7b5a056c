#pragma once

#include "vekapi/VekApiC.h"
#include "vekapi/VekFlowCtrl.h"

// The object of a CVekFlowCtrl handle (by its base): a gate that passes its event to a C callback.
struct VekApiC_FlowCtrl : public VekApi::VekFlowCtrl {
  // The table is copied.
  VekApiC_FlowCtrl(const CVekFlowCtrlCallbacks& callbacks, void* user);
  ~VekApiC_FlowCtrl() override;

 private:
  void OnVekFlowCtrlFree() override;

  CVekFlowCtrlCallbacks callbacks_;
  void* user_;
};
