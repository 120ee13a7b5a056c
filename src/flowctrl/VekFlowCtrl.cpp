#include "vekapi/VekFlowCtrl.h"

#include "flowctrl/VekFlowCtrlImpl.h"
#include "platform/os/Thread.h"
#include "protocol/Packet.h"

namespace VekApi {
namespace {

// Larger values are results of CheckFlowCtrl, negative when signed, that mean "not before an
// acknowledgement".
constexpr unsigned kMaxSleepMs = 0x7FFFFFFF;

// The text after the last line feed counts even if empty; an empty line before it does not.
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

VekFlowCtrl::VekFlowCtrl() : impl_(new TImpl(*this)) {
  impl_->add_ref();
}

VekFlowCtrl::~VekFlowCtrl() {
  CloseGate();
  impl_->release();
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
  if (IsInherited()) return;
  const VekFlowCtrlLocker lock(*this);
  const bool configured = count >= 1 && ms >= 1;
  flowCount_ = configured ? count : 0;
  flowInterval_ = configured ? ms : 0;
  // In one step: without a rate checks take no lock, and would let requests pass between the old rate and the
  // new one.
  impl_->Configure(flowCount_, flowInterval_);
}

void VekFlowCtrl::SetAckTime(unsigned n) {
  if (!IsInherited() && impl_->SetAckTime(n) != 0) impl_->CheckAndArm();
}

void VekFlowCtrl::VekAckParser(int code, const std::string& text) {
  if (code == PkRequestAck) SetAckTime(CountAcknowledged(text.c_str()));
}

unsigned VekFlowCtrl::CheckFlowCtrl() {
  return static_cast<unsigned>(IsInherited() ? -1 : impl_->CheckFlowCtrlWaitAck());
}

void VekFlowCtrl::StartCheckTimer() {
  impl_->CheckAndArm();
}

bool VekFlowCtrl::IsInherited() const noexcept {
  return impl_->IsInherited();
}

void VekFlowCtrl::LookSoon(unsigned ms) {
  impl_->LookSoon(ms);
}

void VekFlowCtrl::GiveBack(unsigned n) noexcept {
  impl_->GiveBack(n);
}

void VekFlowCtrl::Sleep(unsigned ms) {
  Dova::Os::SleepMs(ms <= kMaxSleepMs ? ms : 1);
}

void VekFlowCtrl::Lock() const {
  impl_->userLock.lock();
}

void VekFlowCtrl::Unlock() const {
  impl_->userLock.unlock();
}

}  // namespace VekApi
