#pragma once

#include <cstddef>
#include <string>

#include "platform/runtime/Ref.h"
#include "platform/transport/TMesBase.h"

namespace VekApi {

// What somebody who keeps a client wants to know of its links beside the client's events. Called inside the
// context, but OnSecretSent on the thread that sends. Plain clients have none.
class TLinkWatch {
 public:
  // The messenger of a link that begins to talk.
  virtual void OnLinked(const Dstl::wise_ref<Dova::TMesBase>& mes) = 0;
  // Bytes came; they are taken apart before OnReceivedAll.
  virtual void OnReceived(std::size_t bytes) = 0;
  virtual void OnReceivedAll() = 0;
  // A whole message, descrambled, as it came: header first.
  virtual void OnMessageIn(int msgCode, const char* message, std::size_t length) = 0;
  // The link itself sent something; what an application sends, it knows.
  virtual void OnMessageOut(int msgCode, const char* message, std::size_t length) = 0;
  // The same for packets with passwords.
  virtual void OnSecretSent(int msgCode, const std::string& user) = 0;
  // A link whose sign-on had been refused is gone.
  virtual void OnLostAfterRefusal() = 0;

 protected:
  ~TLinkWatch() = default;
};

}  // namespace VekApi
