#pragma once

#include "session/TImpl.h"
#include "vekapi/VekClient.h"

namespace VekApi {

// A call of the application's inside the session's context. While it waited, or raised an event, other calls
// may have closed the session or deleted the client.
class VekClient::TCall {
 public:
  explicit TCall(const VekClient& client)
      : impl_(client.impl_), inside_(impl_->Context()), epoch_(impl_->Epoch()) {}

  explicit operator bool() const { return static_cast<bool>(inside_); }

  // Begins a new link: from here on, Overtaken tells whether another call did so meanwhile.
  void CloseSession() {
    epoch_ = impl_->Epoch() + 1;
    impl_->CloseSession();
  }
  bool Overtaken() const { return impl_->Epoch() != epoch_; }

 private:
  const Dstl::wise_ref<TImpl> impl_;
  const Dova::TSyncScope inside_;
  unsigned epoch_;
};

}  // namespace VekApi
