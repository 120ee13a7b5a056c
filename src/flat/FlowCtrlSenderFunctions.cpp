#include <string>

#include "flat/FlowCtrlMessageLoops.h"
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

CVekFlowCtrlSender CVekFlowCtrlSender_Create_OnMessageLoop(CVekClient* client,
                                                           const CVekFlowCtrlSenderCallbacks* callbacks,
                                                           void* user) {
  return Ask(client, {}, [=](auto& object) {
    return VekApi::Flat::Create<CVekFlowCtrlSender>([&] {
      return TFlowCtrlSenderMessageLoop::Make(object.Client(),
                                              callbacks ? *callbacks : CVekFlowCtrlSenderCallbacks{}, user);
    });
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

void CVekFlowCtrlSender_CheckPending(CVekFlowCtrlSender* sender) {
  Do(sender, [](auto& object) { object.StartCheckTimer(); });
}

unsigned CVekFlowCtrlSender_DropPending(CVekFlowCtrlSender* sender) {
  return Ask(sender, 0, [](auto& object) { return static_cast<unsigned>(object.TakePending().size()); });
}

unsigned CVekFlowCtrlSender_TakePending(CVekFlowCtrlSender* sender, char* buffer, unsigned size) {
  if (!buffer) return 0;
  return Ask(sender, 0, [=](auto& object) { return object.TakePending(buffer, size); });
}

unsigned CVekFlowCtrlSender_RefusedCount(const CVekFlowCtrlSender* sender) {
  return Ask(sender, 0, [](auto& object) { return object.RefusedCount(); });
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
