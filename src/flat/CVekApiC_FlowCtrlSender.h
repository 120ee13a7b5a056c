#pragma once

#include "vekapi/VekFlowCtrlSender.h"

// The object of a CVekFlowCtrlSender handle. The handle holds its base VekFlowCtrl, so the gate functions
// accept it too.
struct CVekApiC_FlowCtrlSender : public VekApi::VekFlowCtrlSender {
  using VekFlowCtrlSender::VekFlowCtrlSender;
  ~CVekApiC_FlowCtrlSender() override { CloseGate(); }
};
