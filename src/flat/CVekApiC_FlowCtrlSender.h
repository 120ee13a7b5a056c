#pragma once

#include "vekapi/VekFlowCtrlSender.h"

// What a CVekFlowCtrlSender handle points to (by its base VekFlowCtrl, so that the gate's functions serve it,
// too).
struct CVekApiC_FlowCtrlSender : public VekApi::VekFlowCtrlSender {
  using VekFlowCtrlSender::VekFlowCtrlSender;
  ~CVekApiC_FlowCtrlSender() override { CloseGate(); }
};
