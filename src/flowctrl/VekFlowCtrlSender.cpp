#include "vekapi/VekFlowCtrlSender.h"

#include <utility>

#include "protocol/RequestPrefix.h"
#include "vekapi/VekClient.h"

namespace VekApi {

VekFlowCtrlSender::VekFlowCtrlSender(VekClient& client) : client_(client) {}

VekFlowCtrlSender::~VekFlowCtrlSender() {
  CloseGate();
}

unsigned VekFlowCtrlSender::PendingCount() const {
  const VekFlowCtrlLocker lock(*this);
  return static_cast<unsigned>(pending_.size());
}

unsigned VekFlowCtrlSender::RefusedCount() const {
  const VekFlowCtrlLocker lock(*this);
  return refused_;
}

std::deque<std::string> VekFlowCtrlSender::TakePending() {
  const VekFlowCtrlLocker lock(*this);
  return std::exchange(pending_, {});
}

unsigned VekFlowCtrlSender::TakePending(char* buffer, unsigned size) {
  const VekFlowCtrlLocker lock(*this);
  if (pending_.empty()) return 0;
  const std::string& oldest = pending_.front();
  const auto length = static_cast<unsigned>(oldest.size());
  if (length > size) return length;
  oldest.copy(buffer, size);
  pending_.pop_front();
  return length;
}

bool VekFlowCtrlSender::SendVekRequest(char* buffer, unsigned length) {
  if (length <= kPrefixBytes) return false;
  const VekFlowCtrlLocker lock(*this);
  if (!Holding() && CheckFlowCtrl() == 0) {
    Send(buffer, length, 1);
    CheckWhenHolding();
    return pending_.empty();
  }
  Hold(buffer + kPrefixBytes, buffer + length);
  StartCheckTimer();
  return !Holding();
}

unsigned VekFlowCtrlSender::SendVekRequests(const std::deque<std::string>& requests) {
  const VekFlowCtrlLocker lock(*this);
  const unsigned sent = Holding() ? 0 : Internal_SendVekRequests(requests);
  pending_.insert(pending_.end(), requests.begin() + static_cast<std::ptrdiff_t>(sent), requests.end());
  CheckWhenHolding();
  return sent;
}

// First asks, then copies: the batch grows once.
unsigned VekFlowCtrlSender::Internal_SendVekRequests(const std::deque<std::string>& requests) {
  batch_.resize(kPrefixBytes);
  std::size_t length = kPrefixBytes;
  std::size_t count = 0;
  while (count < requests.size() && CheckFlowCtrl() == 0) length += requests[count++].size() + 1;
  if (count == 0) return 0;
  batch_.reserve(length);
  for (std::size_t i = 0; i < count; ++i) {
    if (i != 0) batch_ += '\n';
    batch_ += requests[i];
  }
  Send(batch_.data(), batch_.size(), static_cast<unsigned>(count));
  return static_cast<unsigned>(count);
}

void VekFlowCtrlSender::OnVekFlowCtrlFree() {
  const VekFlowCtrlLocker lock(*this);
  if (sending_) return;
  const unsigned sent = Internal_SendVekRequests(pending_);
  pending_.erase(pending_.begin(), pending_.begin() + static_cast<std::ptrdiff_t>(sent));
  CheckWhenHolding();
}

void VekFlowCtrlSender::CheckWhenHolding() {
  if (!pending_.empty()) StartCheckTimer();
}

// A messenger may bring the answer before its Send returns, and with it this gate's free event, or a handler
// that sends: these find `sending_` set and leave what is held, and the buffer of batches, alone. Everything
// that calls this looks at what is held afterwards.
void VekFlowCtrlSender::Send(char* buffer, std::size_t length, unsigned requests) {
  sending_ = true;
  if (!client_.SendVekRequestImpl(PkRequestAck, buffer, static_cast<unsigned>(length))) refused_ += requests;
  sending_ = false;
}

void VekFlowCtrlSender::Hold(const char* first, const char* last) {
  pending_.emplace_back(first, last);
}

}  // namespace VekApi
