// Requests on their way: sent or held.
#include "vekapi/VekFlowCtrlSender.h"

#include <algorithm>
#include <new>

#include "flowctrl/TRequestPort.h"
#include "protocol/RequestPrefix.h"

namespace VekApi {

namespace {

// Retry delay if the gate is open but there is no memory for a single request.
constexpr unsigned kMemoryRetryMs = 10;

}  // namespace

bool VekFlowCtrlSender::SendVekRequest(char* buffer, unsigned length) {
  if (length <= kPrefixBytes || IsInherited()) return false;
  const VekFlowCtrlLocker lock(*this);
  if (!Holding() && CheckFlowCtrl() == 0) {
    Send(buffer, length, 1);
    CheckWhenHolding();
    return pending_.empty();
  }
  Hold(buffer + kPrefixBytes, buffer + length);
  CheckWhenHolding();
  return !Holding();
}

// Requests to be held are stored first: if there is no memory for them, nothing is sent.
unsigned VekFlowCtrlSender::SendVekRequests(const std::deque<std::string>& requests) {
  if (IsInherited()) return 0;
  const VekFlowCtrlLocker lock(*this);
  const unsigned sent = Holding() ? 0 : FillBatch(requests);
  const std::size_t before = pending_.size();
  try {
    for (std::size_t at = sent; at < requests.size(); ++at) pending_.push_back(requests[at]);
  } catch (...) {
    TakeBack(before, sent);
    throw;
  }
  if (sent != 0) Send(batch_.data(), batch_.size(), sent);
  CheckWhenHolding();
  return sent;
}

// The batch ends early if memory runs out, as if the gate had closed. The gate is checked last.
unsigned VekFlowCtrlSender::FillBatch(const std::deque<std::string>& requests) {
  batch_.resize(kPrefixBytes);
  unsigned count = 0;
  try {
    for (const std::string& request : requests) {
      const std::size_t length = batch_.size() + 1 + request.size();
      if (length > batch_.capacity()) batch_.reserve(std::max(length, 2 * batch_.capacity()));
      if (CheckFlowCtrl() != 0) break;
      if (count++ != 0) batch_ += '\n';
      batch_ += request;
    }
  } catch (const std::bad_alloc&) {
  }
  return count;
}

void VekFlowCtrlSender::OnVekFlowCtrlFree() {
  const VekFlowCtrlLocker lock(*this);
  if (sending_) return;
  const unsigned count = FillBatch(pending_);
  if (count != 0) {
    for (unsigned at = 0; at < count; ++at) pending_.pop_front();
    if (Send(batch_.data(), batch_.size(), count)) OnVekRequestsSent(count, true);
    CheckWhenHolding();
  } else if (!pending_.empty()) {
    LookSoon(kMemoryRetryMs);
  }
}

// Does nothing; for derived classes.
void VekFlowCtrlSender::OnVekRequestsSent(unsigned /*requests*/, bool /*taken*/) {}

// While requests are held the timer is always armed, so none is held forever.
void VekFlowCtrlSender::CheckWhenHolding() {
  if (pending_.empty()) return;
  StartCheckTimer();
  if (!pending_.empty()) LookSoon(0);
}

// A messenger may deliver the answer before its Send returns, and with it this gate's free event, or a
// handler that sends. Those find `sending_` set and do not touch the held requests or the batch buffer. So
// every caller checks the held requests afterwards.
bool VekFlowCtrlSender::Send(char* buffer, std::size_t length, unsigned requests) {
  sending_ = true;
  const bool taken = port_->SendRequest(PkRequestAck, buffer, static_cast<unsigned>(length));
  sending_ = false;
  if (taken) return true;
  refused_ += requests;
  OnVekRequestsSent(requests, false);
  return false;
}

void VekFlowCtrlSender::Hold(const char* first, const char* last) {
  pending_.emplace_back(first, last);
}

void VekFlowCtrlSender::TakeBack(std::size_t before, unsigned counted) noexcept {
  while (pending_.size() > before) pending_.pop_back();
  GiveBack(counted);
}

}  // namespace VekApi
