// A sender over a client whose messenger is the test, in virtual time.
#pragma once

#include <deque>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "support/SessionFixture.h"
#include "vekapi/VekFlowCtrlSender.h"

namespace vektest {

class SenderTest : public SessionTest {
 protected:
  SenderTest() {
    SignOn();
    sender = std::make_unique<VekApi::VekFlowCtrlSender>(*client);
  }

  // With five reserved bytes in front.
  static std::string Buffer(const std::string& text) { return "....." + text; }

  bool SendOne(const std::string& text) {
    std::string buffer = Buffer(text);
    return sender->SendVekRequest(buffer.data(), static_cast<unsigned>(buffer.size()));
  }
  unsigned SendText(const std::string& text) {
    std::string buffer = Buffer(text);
    return sender->SendVekRequests(buffer.data(), static_cast<unsigned>(buffer.size()));
  }
  unsigned SendSeveral(const std::deque<std::string>& texts) { return sender->SendVekRequests(texts); }

  // The texts of the messages sent since the last call, pieces joined.
  Lines TakeMessages() {
    Lines messages;
    std::string pieces;
    for (const Packet& packet : Split(mes->TakeSent())) {
      pieces += packet.bytes.substr(5);
      if (packet.code == 3) continue;
      EXPECT_EQ(packet.code, 129);
      messages.push_back(std::exchange(pieces, {}));
    }
    return messages;
  }

  std::unique_ptr<VekApi::VekFlowCtrlSender> sender;
};

}  // namespace vektest
