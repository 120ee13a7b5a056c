#include <string>

#include "flat/Guard.h"
#include "vekapi/VekApiC.h"

using VekApi::Flat::Ask;
using VekApi::Flat::Do;

namespace {

CVekFlowCtrl AsGate(const CVekFlowCtrlSender* sender) {
  return {sender ? sender->object : nullptr};
}

}  // namespace

CVekFlowCtrlSender CVekFlowCtrlSender_Create(CVekClient* client) {
  return Ask(client, {}, [](auto& object) {
    return VekApi::Flat::Create<CVekFlowCtrlSender>(
        [&] { return new CVekApiC_FlowCtrlSender(object.Client()); });
  });
}

void CVekFlowCtrlSender_Delete(CVekFlowCtrlSender* sender) {
  CVekFlowCtrl gate = AsGate(sender);
  if (!gate.object) return;
  CVekFlowCtrl_Delete(&gate);
  sender->object = nullptr;
}

void CVekFlowCtrlSender_SetFlowCtrl(CVekFlowCtrlSender* sender, int count, int ms) {
  CVekFlowCtrl gate = AsGate(sender);
  CVekFlowCtrl_SetFlowCtrl(&gate, count, ms);
}

int CVekFlowCtrlSender_IsFlowCfg(const CVekFlowCtrlSender* sender) {
  return Ask(sender, 0, [](auto& object) { return object.IsFlowCfg() ? 1 : 0; });
}

unsigned CVekFlowCtrlSender_PendingCount(const CVekFlowCtrlSender* sender) {
  return Ask(sender, 0, [](auto& object) { return object.PendingCount(); });
}

void CVekFlowCtrlSender_AckParser(CVekFlowCtrlSender* sender, int code, const char* text) {
  if (text) Do(sender, [=](auto& object) { object.VekAckParser(code, text); });
}

void CVekFlowCtrlSender_SetAckTime(CVekFlowCtrlSender* sender, int /*ignored*/, unsigned n) {
  Do(sender, [=](auto& object) { object.SetAckTime(n); });
}

bool CVekFlowCtrlSender_SendVekRequest(CVekFlowCtrlSender* sender, char* buffer, unsigned length) {
  return buffer && Ask(sender, false, [=](auto& object) { return object.SendVekRequest(buffer, length); });
}

unsigned CVekFlowCtrlSender_SendVekRequests(CVekFlowCtrlSender* sender, char* buffer, unsigned length) {
  if (!buffer) return 0;
  return Ask(sender, 0, [=](auto& object) { return object.SendVekRequests(buffer, length); });
}
