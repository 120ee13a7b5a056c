// A session in virtual time over a messenger whose other end is the test.
#pragma once

#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "keeper/KeptSession.h"
#include "support/LineLog.h"
#include "support/TVirtualTimerQueue.h"
#include "support/TestMes.h"
#include "support/Wire.h"

namespace vektest {

inline constexpr char kRates[] =
    "100\x01"
    "1000";

class Kept : public testing::Test {
 protected:
  void Make(const CVekSessionConfig& config = KeptSession::Config()) {
    kept.emplace(config);
    kept->Open({":TestMes:lend"});
    Connect();
  }
  void MakeUp(const CVekSessionConfig& config = KeptSession::Config()) {
    Make(config);
    mes->Deliver(SgnResult(kRates));
    EXPECT_EQ(kept->Take().back(), "up");
    mes->TakeSent();
  }
  void Connect() {
    mes = TestMes::Last();
    ASSERT_TRUE(mes);
    mes->Ready();
    mes->Deliver(ConnectResult(false, {}));
  }
  void Reconnect() {
    Connect();
    mes->Deliver(SgnResult(kRates));
  }
  void Ack(const std::string& lines) { mes->Deliver(Message(129, lines)); }
  Lines After(unsigned ms) {
    time.Advance(ms);
    return kept->Take();
  }
  // The work ids in the order sent.
  Lines Sent() {
    Lines ids;
    for (const Packet& packet : Split(mes->TakeSent())) {
      if (packet.code < 128) continue;
      std::string text = packet.bytes.substr(5) + "\n";
      for (std::size_t at = 0; at < text.size(); at = text.find('\n', at) + 1) {
        const std::string line = text.substr(at, text.find('\n', at) - at);
        if (!line.starts_with("prod=")) ids.push_back(line.substr(0, line.find(' ')));
      }
    }
    return ids;
  }

  TestSupport::TVirtualTimerQueue time;
  std::optional<KeptSession> kept;
  Dstl::wise_ref<TestMes> mes;
};

}  // namespace vektest
