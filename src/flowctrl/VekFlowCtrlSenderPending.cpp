// The sender's life, and what the application asks about its held requests.
#include <memory>
#include <new>
#include <utility>

#include "flowctrl/TRequestPort.h"
#include "vekapi/VekClient.h"
#include "vekapi/VekFlowCtrlSender.h"

namespace VekApi {

VekFlowCtrlSender::VekFlowCtrlSender(VekClient& client) {
  TRequestPort& port = client.RequestPort();
  port.add_ref();  // released by the deleter, which also runs if the shared_ptr cannot be allocated
  port_ = std::shared_ptr<TRequestPort>(&port, [](const TRequestPort* held) { held->release(); });
}

VekFlowCtrlSender::~VekFlowCtrlSender() {
  CloseGate();
  if (!IsInherited()) return;
  // A thread of the parent may have been changing them at the fork: their memory is left alone.
  ::new (static_cast<void*>(&pending_)) std::deque<std::string>;
  ::new (static_cast<void*>(&batch_)) std::string;
}

unsigned VekFlowCtrlSender::PendingCount() const {
  const VekFlowCtrlLocker lock(*this);
  return IsInherited() ? 0 : static_cast<unsigned>(pending_.size());
}

unsigned VekFlowCtrlSender::RefusedCount() const {
  const VekFlowCtrlLocker lock(*this);
  return refused_;
}

std::deque<std::string> VekFlowCtrlSender::TakePending() {
  const VekFlowCtrlLocker lock(*this);
  return IsInherited() ? std::deque<std::string>() : std::exchange(pending_, {});
}

unsigned VekFlowCtrlSender::TakePending(char* buffer, unsigned size) {
  const VekFlowCtrlLocker lock(*this);
  if (IsInherited() || pending_.empty()) return 0;
  const std::string& oldest = pending_.front();
  const auto length = static_cast<unsigned>(oldest.size());
  if (length > size) return length;
  oldest.copy(buffer, size);
  pending_.pop_front();
  return length;
}

}  // namespace VekApi
