// Bytes through the rings, in both directions.
#include <atomic>
#include <thread>

#include "ShMemFixture.h"

namespace vektest {
namespace {

TEST_F(ShMemTest, WhatWaitsForAStoppedGatewayIsBounded) {
  Link(1000);
  const std::string most(Dova::TMesBase::kSendQueueBytes + 1000, 'x');
  const int length = static_cast<int>(most.size());
  EXPECT_EQ(mes->Send((most + "x").data(), length + 1), 0);
  EXPECT_EQ(mes->Send(most.data(), length), length);
  EXPECT_EQ(mes->Send("x", 1), 0);
  rings.Write("still listening", 15);
  EXPECT_TRUE(events.WaitForBytes("still listening"));
  char buffer[1000];
  EXPECT_EQ(rings.Read(buffer, sizeof buffer), 1000) << "nothing of what was refused";
  for (int taken = 0; taken == 0; taken = mes->Send("y", 1)) std::this_thread::yield();
}

// Reads everything and keeps nothing.
class Glutton : public Dova::TMesEvHandler {
 public:
  void OnMesRecvReady(Dova::TMesBase* mes) override {
    char buffer[65536];
    while (mes->Recv(buffer, sizeof buffer) > 0) continue;
    ++events;
  }
  std::atomic<int> events{0};
};

TEST_F(ShMemTest, PeerThatNeverPausesLetsOthersIn) {
  Link(10'000'000);
  Glutton glutton;
  std::atomic<bool> over{false};
  {
    const Dova::TSyncScope inside(mes->SyncContext());
    mes->SetEvHandler(&glutton);
  }
  // However much the client has read, there is always more.
  std::thread peer([&] {
    auto* const fields = reinterpret_cast<std::uint32_t*>(rings.ToClient());
    while (!over) {
      const std::uint32_t read = std::atomic_ref(fields[1]).load();
      std::atomic_ref(fields[2]).store((read + 9'000'000) % 10'000'001);
      rings.WakeClient();
    }
  });
  for (int i = 0; i < 3; ++i) {
    for (const int before = glutton.events; glutton.events == before;) std::this_thread::yield();
    const Dova::TSyncScope inside(mes->SyncContext());
  }
  Close();
  over = true;
  peer.join();
}

// The transport does not know which messages are secret; any small one may be.
TEST_F(ShMemTest, SecretsDoNotStayInTheRings) {
  Link();
  const auto holds = [](const std::byte* ring, const std::string& text) {
    return std::string(reinterpret_cast<const char*>(ring) + 64, 1001).find(text) != std::string::npos;
  };
  const auto pass = [&](const std::string& text) {
    char buffer[1000];
    ASSERT_EQ(mes->Send(text.data(), static_cast<int>(text.size())), static_cast<int>(text.size()));
    ASSERT_EQ(rings.Read(buffer, sizeof buffer), static_cast<int>(text.size()));
  };
  pass("password");
  ASSERT_TRUE(holds(rings.FromClient(), "password"));
  pass("next");
  EXPECT_FALSE(holds(rings.FromClient(), "password"));
  rings.Write("the key", 7);
  ASSERT_TRUE(events.WaitForBytes("the key"));
  EXPECT_FALSE(holds(rings.ToClient(), "the key"));
  pass("another");
  Close();
  EXPECT_FALSE(holds(rings.FromClient(), "another"));
}

}  // namespace
}  // namespace vektest
