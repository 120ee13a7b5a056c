#pragma once

#include <cstddef>
#include <string>

#include "platform/runtime/Ref.h"
#include "platform/transport/TMesBase.h"

namespace VekApi {

// What the owner of a client needs to know about its links beyond the client's events. Called inside the
// context, except OnSecretSent, which is called on the sending thread. Plain clients have none.
class TLinkWatch {
 public:
  // A link has started; this is its messenger.
  virtual void OnLinked(const Dstl::wise_ref<Dova::TMesBase>& mes) = 0;
  // Bytes have arrived. They are parsed before OnReceivedAll.
  virtual void OnReceived(std::size_t bytes) = 0;
  virtual void OnReceivedAll() = 0;
  // A complete message, descrambled, header included.
  virtual void OnMessageIn(int msgCode, const char* message, std::size_t length) = 0;
  // The link itself sent a message. What the application sends is not reported.
  virtual void OnMessageOut(int msgCode, const char* message, std::size_t length) = 0;
  // The same for packets with passwords.
  virtual void OnSecretSent(int msgCode, const std::string& user) = 0;
  // A link was lost after its sign-on had been refused.
  virtual void OnLostAfterRefusal() = 0;

 protected:
  ~TLinkWatch() = default;
};

}  // namespace VekApi
