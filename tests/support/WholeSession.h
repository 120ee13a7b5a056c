// A complete session against the simulated server, over any kind of link.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "sim/SimServer.h"
#include "support/Recorder.h"
#include "support/SimSession.h"
#include "vekapi/VekFlowCtrlSender.h"

namespace vektest {

// Each step depends on the previous ones. The server must have one client, the user "trader" with the
// password "secret", and keep what it receives.
class WholeSession : public Recorder {
 public:
  // Long messages have `longBytes` bytes.
  WholeSession(VekSim::SimServer& server, std::string setting, std::size_t longBytes)
      : server_(server), setting_(std::move(setting)) {
    while (text_.size() < longBytes) text_ += "line " + std::to_string(text_.size()) + "\n";
  }

  // Acknowledgements may still arrive, and the sender is destroyed before the client.
  ~WholeSession() override { client_.Disconnect(); }
  WholeSession(const WholeSession&) = delete;
  WholeSession& operator=(const WholeSession&) = delete;

  void Run() {
    ASSERT_NO_FATAL_FAILURE(SignOn("secret"));
    EXPECT_EQ(client_.ServerName(), "VEKSIM.1.0.0.0");
    ASSERT_NO_FATAL_FAILURE(QueryAndOrder());
    ASSERT_NO_FATAL_FAILURE(LongMessages());
    ASSERT_TRUE(client_.ChgPass("trader", "secret", "secret2"));
    ASSERT_TRUE(WaitFor("chgpass trader"));
    client_.Disconnect();
    EXPECT_EQ(Take().back(), "connect -1 Disconnect()");
    ASSERT_NO_FATAL_FAILURE(SignOn("secret2"));
    ASSERT_NO_FATAL_FAILURE(PacedOrders());
    QueriesUpToTheRate();
  }

  void OnVekRequestAckEvent(VekApi::VekClient& client, int code, const std::string& text) override {
    Recorder::OnVekRequestAckEvent(client, code, text);
    sender_.VekAckParser(code, text);
  }

 private:
  void SignOn(const std::string& password) {
    Connect(client_, setting_, password);
    ASSERT_TRUE(WaitFor("ready"));
  }

  void QueryAndOrder() {
    ASSERT_TRUE(Send(client_, 128, "W1 products"));
    ASSERT_TRUE(WaitFor("result W1 "));
    ASSERT_TRUE(Send(client_, 129, "W2 new\nprod=TXF side=B qty=2 price=MKT"));
    ASSERT_TRUE(WaitFor("ack 129 "));
    ASSERT_TRUE(WaitFor("report "));
  }

  void LongMessages() {
    ASSERT_TRUE(Send(client_, 128, "W3 ticks\nrows=" + std::to_string(text_.size() / 20)));
    ASSERT_TRUE(WaitFor("result W3 "));
    ASSERT_TRUE(Send(client_, 150, text_));
    ASSERT_TRUE(server_.WaitFor([](const VekSim::SimSeen& seen) {
      return std::any_of(seen.packets.begin(), seen.packets.end(),
                         [](const auto& packet) { return packet.code == 150; });
    }));
    std::string joined;
    for (const auto& packet : server_.Seen().packets) {
      if (packet.code == 3 || packet.code == 150) joined += packet.body.substr(2);
    }
    EXPECT_EQ(joined, text_);

    // With other packets between its pieces.
    server_.SendLong(VekSim::SimServer::kAll, 130, text_, 1000,
                     {VekSim::SimInsert{}, VekSim::SimInsert{}, VekSim::SimInsert{}});
    ASSERT_TRUE(WaitFor("report line 0"));
    EXPECT_EQ(Take().back(), "report " + text_);
  }

  void PacedOrders() {
    const VekSim::SimRate& rate = kRequestRate;
    const std::size_t before = server_.Seen().requestCount, orders = rate.count * std::size_t{3};
    sender_.SetFlowCtrl(rate.count, rate.ms);
    for (std::size_t i = 0; i < orders; ++i) {
      std::string order = ".....P" + std::to_string(i) + " new\nprod=TXF side=S qty=1 price=100";
      sender_.SendVekRequest(order.data(), static_cast<unsigned>(order.size()));
    }
    ASSERT_TRUE(
        server_.WaitFor([&](const VekSim::SimSeen& seen) { return seen.requestCount == before + orders; }));
    const auto seen = server_.Seen();
    EXPECT_EQ(seen.requestViolations, 0U);
    for (std::size_t i = 0; i < orders; ++i) {
      EXPECT_EQ(seen.requests[seen.requests.size() - orders + i].workId, "P" + std::to_string(i));
    }
  }

  // The rate is the one given at sign-on; the two queries of the previous link may still count.
  void QueriesUpToTheRate() {
    int sent = 0, wait = 0;
    while (wait == 0 && sent < 10'000) {
      std::string query = ".....Q nothing";
      wait = client_.SendVekQueryRequest(query.data(), static_cast<unsigned>(query.size()));
      if (wait == 0) ++sent;
    }
    EXPECT_GT(wait, 0);
    EXPECT_GE(sent + 2, VekSim::SimConfig{}.queryRate.count);
  }

 public:
  // Request rate for the server's configuration; it counts violations.
  static inline const VekSim::SimRate kRequestRate{10, 50};

 private:
  VekSim::SimServer& server_;
  const std::string setting_;
  std::string text_;
  VekApi::VekClient client_{*this};
  VekApi::VekFlowCtrlSender sender_{client_};
};

}  // namespace vektest
