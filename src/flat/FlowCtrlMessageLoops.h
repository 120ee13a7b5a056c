// Gates and senders that call back on the message loop of the creating thread.
#pragma once

#include <atomic>

#include "flat/CVekApiC_FlowCtrlSender.h"
#include "platform/runtime/TLoopNotice.h"
#include "vekapi/VekApiC.h"

class TFlowCtrlMessageLoop final : public VekApi::VekFlowCtrl, private TLoopNotice::TOwner {
 public:
  // Null if the thread cannot have a window. The table is copied.
  static TFlowCtrlMessageLoop* Make(const CVekFlowCtrlCallbacks& callbacks, void* user);
  ~TFlowCtrlMessageLoop() override;

 private:
  TFlowCtrlMessageLoop(const CVekFlowCtrlCallbacks& callbacks, void* user);

  void OnVekFlowCtrlFree() override { notice_.Tell(); }
  void OnTold() override;

  const CVekFlowCtrlCallbacks callbacks_;
  void* const user_;
  TLoopNotice notice_{*this};
};

class TFlowCtrlSenderMessageLoop final : public CVekApiC_FlowCtrlSender, private TLoopNotice::TOwner {
 public:
  static TFlowCtrlSenderMessageLoop* Make(VekApi::VekClient& client,
                                          const CVekFlowCtrlSenderCallbacks& callbacks, void* user);
  ~TFlowCtrlSenderMessageLoop() override;

 private:
  TFlowCtrlSenderMessageLoop(VekApi::VekClient& client, const CVekFlowCtrlSenderCallbacks& callbacks,
                             void* user);

  void OnVekRequestsSent(unsigned requests, bool taken) override;
  void OnTold() override;

  const CVekFlowCtrlSenderCallbacks callbacks_;
  void* const user_;
  std::atomic<unsigned> sent_{0};  // since the last callback
  std::atomic<unsigned> refused_{0};
  TLoopNotice notice_{*this};
};
