// Bytes through the rings, in both directions.
#include <atomic>
#include <condition_variable>
#include <mutex>
#include <random>
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

// Only what was written into the ring has left: a request behind it was never sent.
TEST_F(ShMemTest, TellsWhatHasLeft) {
  Link(1000);
  const std::string text(900, 'x');
  const auto send = [&] {
    std::uint64_t at = 99;
    EXPECT_EQ(mes->SendAt(text.data(), 900, at), 900);
    return at;
  };
  EXPECT_EQ(send(), 0U);
  EXPECT_EQ(mes->TakenBytes(), 900U);
  EXPECT_EQ(send(), 900U);
  EXPECT_EQ(send(), 1800U);
  EXPECT_EQ(mes->TakenBytes(), 1000U);
  char buffer[1000];
  ASSERT_EQ(rings.Read(buffer, sizeof buffer), 1000);
  while (mes->TakenBytes() != 2000) std::this_thread::yield();
  {
    const Dova::TSyncScope inside(mes->SyncContext());
    mes->Close();
  }
  EXPECT_EQ(mes->TakenBytes(), 2000U);
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

// ---- messages of any size, both ways at once: the gateway sends back what it reads ----

// An endless text, of which both ends can compute every byte. It repeats only after more than any ring's
// wrap.
class Endless {
 public:
  static constexpr std::size_t kMost = 65536;

  std::string_view Next(std::size_t length) {
    static const std::string text = [] {
      std::minstd_rand random;
      std::string bytes(kPeriod, '\0');
      for (char& byte : bytes) byte = static_cast<char>(random() >> 8);
      return bytes + bytes + bytes;
    }();
    const std::size_t at = passed % kPeriod;
    passed += length;
    return std::string_view(text).substr(at, length);
  }
  std::uint64_t passed = 0;

 private:
  static constexpr std::size_t kPeriod = 65521;
};

class Stream : public ShMemTest, public Dova::TMesEvHandler {
 protected:
  void OnMesRecvReady(Dova::TMesBase* from) override {
    char buffer[Endless::kMost];
    for (int count = 0; (count = from->Recv(buffer, sizeof buffer)) > 0;) {
      const std::string_view bytes(buffer, static_cast<std::size_t>(count));
      const std::lock_guard lock(mutex_);
      good_ = good_ && came_.Next(bytes.size()) == bytes;
      changed_.notify_all();
    }
  }
  void OnMesLinkBroken(Dova::TMesBase*, const std::string& reason) override {
    ADD_FAILURE() << reason;
    const std::lock_guard lock(mutex_);
    good_ = false;
    changed_.notify_all();
  }
  void Echo() {
    std::string bytes;
    for (char buffer[Endless::kMost];;) {
      const int wrote = rings.Write(bytes.data(), bytes.size());
      const int read = bytes.size() < sizeof buffer ? rings.Read(buffer, sizeof buffer) : 0;
      ASSERT_TRUE(wrote >= 0 && read >= 0);
      bytes.erase(0, static_cast<std::size_t>(wrote)).append(buffer, static_cast<std::size_t>(read));
      if (wrote == 0 && read == 0 && rings.Wait() == 0) return;
    }
  }
  // Until this many bytes have come back; false if any was wrong.
  bool Await(std::uint64_t wanted) {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return !good_ || came_.passed >= wanted; });
    return good_;
  }
  // Messages from 1 byte to kMost, small and large equally likely; so much is under way at the most, because
  // the queue accepts everything.
  void Send(std::uint64_t total) {
    constexpr std::uint64_t kAhead = 1 << 20;
    std::minstd_rand random(2);
    Endless text;
    while (text.passed < total) {
      const std::string message(text.Next(std::size_t{1} << random() % 16 | random() % 256));
      const int length = static_cast<int>(message.size());
      ASSERT_EQ(mes->Send(message.data(), length), length);
      ASSERT_TRUE(Await(std::max(text.passed, kAhead) - kAhead)) << "after " << came_.passed;
    }
    ASSERT_TRUE(Await(text.passed)) << "after " << came_.passed;
  }
  void Run(std::uint32_t ringBytes, std::uint64_t total) {
    Link(ringBytes);
    {
      const Dova::TSyncScope inside(mes->SyncContext());
      mes->SetEvHandler(this);
    }
    std::thread gateway([this] { Echo(); });
    Send(total);
    rings.Stop();
    gateway.join();
    Close();
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  Endless came_;
  bool good_ = true;
};

TEST_F(Stream, IsWholeAndInOrderThroughSmallRings) {
  Run(4096, 4 << 20);
}
TEST_F(Stream, IsWholeAndInOrderThroughLargeRings) {
  Run(1 << 20, 60 << 20);
}

}  // namespace
}  // namespace vektest
