#include "vekapi/VekFlowCtrl.h"

#include "flowctrl/VekFlowCtrlImpl.h"
#include "platform/os/Thread.h"

namespace VekApi {
namespace {

constexpr int kPacedRequest = 129;

// What follows the last line feed counts even when it is empty; an empty line before it does not.
unsigned CountAcknowledged(const char* text) {
  unsigned count = 1;
  for (const char* line = text; *text != '\0'; ++text) {
    if (*text != '\n') continue;
    if (text != line) ++count;
    line = text + 1;
  }
  return count;
}

}  // namespace

VekFlowCtrl::VekFlowCtrl() : impl_(std::make_unique<TImpl>(*this)) {}

VekFlowCtrl::~VekFlowCtrl() {
  CloseGate();
}

void VekFlowCtrl::CloseGate() noexcept {
  impl_->Close();
}

bool VekFlowCtrl::IsFlowCfg() const {
  const VekFlowCtrlLocker lock(*this);
  return flowCount_ >= 1 && flowInterval_ >= 1;
}

void VekFlowCtrl::Clear() {
  SetFlowCtrl(0, 0);
}

void VekFlowCtrl::SetFlowCtrl(int count, int ms) {
  const VekFlowCtrlLocker lock(*this);
  // Both steps under the limiter's lock: no request slips through between the old rate and the new one.
  const Dova::TFlowCtrl::Locker limiterLock(*impl_);
  const bool configured = count >= 1 && ms >= 1;
  flowCount_ = configured ? count : 0;
  flowInterval_ = configured ? ms : 0;
  impl_->Clear();
  if (configured) impl_->SetFlowCtrl(count, ms);
}

void VekFlowCtrl::SetAckTime(unsigned n) {
  if (impl_->SetAckTime(n) != 0) impl_->CheckAndArm();
}

void VekFlowCtrl::VekAckParser(int code, const std::string& text) {
  if (code == kPacedRequest) SetAckTime(CountAcknowledged(text.c_str()));
}

unsigned VekFlowCtrl::CheckFlowCtrl() {
  return static_cast<unsigned>(impl_->CheckFlowCtrlWaitAck());
}

void VekFlowCtrl::StartCheckTimer() {
  impl_->CheckAndArm();
}

void VekFlowCtrl::Sleep(unsigned ms) {
  Dova::Os::SleepMs(ms);
}

void VekFlowCtrl::Lock() const {
  impl_->userLock.lock();
}

void VekFlowCtrl::Unlock() const {
  impl_->userLock.unlock();
}

}  // namespace VekApi
