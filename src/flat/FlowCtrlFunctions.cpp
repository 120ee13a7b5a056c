#include "flat/FlowCtrlMessageLoops.h"
#include "flat/Guard.h"
#include "vekapi/VekApiC.h"

using VekApi::VekFlowCtrl;
using VekApi::Flat::Ask;
using VekApi::Flat::Do;

CVekFlowCtrl CVekFlowCtrl_Create(const CVekFlowCtrlCallbacks* callbacks, void* user) {
  return VekApi::Flat::Create<CVekFlowCtrl>(
      [=] { return new VekApiC_FlowCtrl(callbacks ? *callbacks : CVekFlowCtrlCallbacks{}, user); });
}

CVekFlowCtrl CVekFlowCtrl_Create_OnMessageLoop(const CVekFlowCtrlCallbacks* callbacks, void* user) {
  return VekApi::Flat::Create<CVekFlowCtrl>(
      [=] { return TFlowCtrlMessageLoop::Make(callbacks ? *callbacks : CVekFlowCtrlCallbacks{}, user); });
}

void CVekFlowCtrl_Delete(CVekFlowCtrl* gate) {
  VekFlowCtrl* const object = VekApi::Flat::ObjectOf(gate);
  if (!object) return;
  delete object;
  gate->object = nullptr;
}

bool CVekFlowCtrl_IsFlowCfg(const CVekFlowCtrl* gate) {
  return Ask(gate, false, &VekFlowCtrl::IsFlowCfg);
}

void CVekFlowCtrl_Clear(CVekFlowCtrl* gate) {
  Do(gate, &VekFlowCtrl::Clear);
}

void CVekFlowCtrl_SetFlowCtrl(CVekFlowCtrl* gate, int count, int ms) {
  Do(gate, [=](auto& object) { object.SetFlowCtrl(count, ms); });
}

void CVekFlowCtrl_SetAckTime(CVekFlowCtrl* gate, unsigned n) {
  Do(gate, [=](auto& object) { object.SetAckTime(n); });
}

int CVekFlowCtrl_CheckFlowCtrl(CVekFlowCtrl* gate) {
  return Ask(gate, 0, [](auto& object) { return static_cast<int>(object.CheckFlowCtrl()); });
}

void CVekFlowCtrl_Sleep(unsigned ms) {
  VekFlowCtrl::Sleep(ms);
}

void CVekFlowCtrl_StartCheckTimer(CVekFlowCtrl* gate) {
  Do(gate, &VekFlowCtrl::StartCheckTimer);
}

void CVekFlowCtrl_Lock(CVekFlowCtrl* gate) {
  Do(gate, &VekFlowCtrl::Lock);
}

void CVekFlowCtrl_Unlock(CVekFlowCtrl* gate) {
  Do(gate, &VekFlowCtrl::Unlock);
}
