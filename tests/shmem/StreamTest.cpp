// Bytes through the rings, in both directions.
#include <atomic>
#include <cmath>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
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

// ---- messages of any size, both ways at once ----

bool LongRun() {
  return std::getenv("VEKAPI_LONG_TESTS") != nullptr;
}

// An endless text, of which both ends can compute every byte. It repeats only after more than any ring's
// wrap.
class Endless {
 public:
  static constexpr std::size_t kMost = 65536;

  // From 1 byte to kMost, small and large equally likely.
  std::string Next(std::minstd_rand& random) {
    const auto length = static_cast<std::size_t>(std::exp2(std::uniform_real_distribution<>(0, 16)(random)));
    return Text().substr(Pass(length), length);
  }
  bool IsNext(const char* bytes, std::size_t length) {
    return std::memcmp(Text().data() + Pass(length), bytes, length) == 0;
  }
  std::uint64_t passed = 0;

 private:
  static constexpr std::size_t kPeriod = 65521;

  static const std::string& Text() {
    static const std::string text = [] {
      std::minstd_rand random;
      std::string bytes(kPeriod, '\0');
      for (char& byte : bytes) byte = static_cast<char>(random() >> 8);
      return bytes + bytes + bytes;
    }();
    return text;
  }
  std::size_t Pass(std::size_t length) {
    const std::size_t at = passed % kPeriod;
    passed += length;
    return at;
  }
};

struct StreamCase {
  std::uint32_t ringBytes;
  std::uint64_t bytes;
};

class StressStream : public ShMemTest,
                     public testing::WithParamInterface<StreamCase>,
                     public Dova::TMesEvHandler {
 protected:
  void TearDown() override {
    if (gateway_.joinable()) {
      rings.Stop();
      gateway_.join();
    }
    Close();
  }

  void OnMesRecvReady(Dova::TMesBase* from) override {
    char buffer[Endless::kMost];
    for (int count = 0; (count = from->Recv(buffer, sizeof buffer)) > 0;) Note(down_, buffer, count);
  }
  void OnMesLinkBroken(Dova::TMesBase*, const std::string& reason) override {
    ADD_FAILURE() << reason;
    const std::lock_guard lock(mutex_);
    good_ = false;
    changed_.notify_all();
  }

  void Start() {
    Link(GetParam().ringBytes);
    {
      const Dova::TSyncScope inside(mes->SyncContext());
      mes->SetEvHandler(this);
    }
    gateway_ = std::thread([this] { Serve(); });
  }

  // The gateway: one thread that reads, checks and writes.
  void Serve() {
    Endless text;
    std::minstd_rand random(1);
    std::string writing, buffer(Endless::kMost, '\0');
    while (up_.passed < total_ || text.passed < total_ || !writing.empty()) {
      if (writing.empty() && text.passed < total_) writing = text.Next(random);
      const int wrote = rings.Write(writing.data(), writing.size());
      const int read = rings.Read(buffer.data(), buffer.size());
      ASSERT_GE(wrote, 0);
      ASSERT_GE(read, 0);
      writing.erase(0, static_cast<std::size_t>(wrote));
      if (read != 0) Note(up_, buffer.data(), read);
      if (wrote == 0 && read == 0 && rings.Wait() == 0) return;
    }
  }

  // Lets a heartbeat period pass, and answers it as a gateway does.
  void Heartbeat() {
    time.Advance(30'000);
    EXPECT_EQ(proxy->TakeSent(), "Hb:\n");
    proxy->Deliver("Hb:\n");
  }

  void Note(Endless& received, const char* bytes, int count) {
    const std::lock_guard lock(mutex_);
    if (!received.IsNext(bytes, static_cast<std::size_t>(count))) good_ = false;
    changed_.notify_all();
  }
  // Until this many bytes have been received; false if any was wrong.
  bool Await(const Endless& received, std::uint64_t wanted) {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return !good_ || received.passed >= wanted; });
    return good_;
  }

  const std::uint64_t total_ = LongRun() ? std::uint64_t{6} << 30 : GetParam().bytes;
  std::thread gateway_;

  std::mutex mutex_;
  std::condition_variable changed_;
  Endless up_, down_;  // the text received so far
  bool good_ = true;
};

// The queue accepts everything, so the sender limits itself.
constexpr std::uint64_t kAhead = 1 << 20;

TEST_P(StressStream, BothWaysInOrderAndWhole) {
  Start();
  Endless text;
  std::minstd_rand random(2);
  for (std::uint64_t heartbeat = 0; text.passed < total_;) {
    const std::string message = text.Next(random);
    ASSERT_EQ(mes->Send(message.data(), static_cast<int>(message.size())), static_cast<int>(message.size()));
    ASSERT_TRUE(Await(up_, std::max(text.passed, kAhead) - kAhead)) << "after " << up_.passed;
    if (text.passed < heartbeat) continue;
    Heartbeat();
    heartbeat += total_ / 10;
  }
  ASSERT_TRUE(Await(up_, total_)) << "after " << up_.passed;
  ASSERT_TRUE(Await(down_, total_)) << "after " << down_.passed;
}
INSTANTIATE_TEST_SUITE_P(ByRing, StressStream,
                         testing::Values(StreamCase{4096, 30 << 20}, StreamCase{1 << 20, 120 << 20}));

TEST_F(ShMemTest, SendersDoNotMix) {
  Link(256);
  constexpr int kSenders = 3, kEach = 400;
  std::vector<std::thread> senders;
  senders.reserve(kSenders);
  for (int s = 0; s < kSenders; ++s) {
    senders.emplace_back([&, s] {
      const std::string message(static_cast<std::size_t>(100 + s), static_cast<char>('a' + s));
      for (int i = 0; i < kEach; ++i) EXPECT_EQ(mes->Send(message.data(), 100 + s), 100 + s);
    });
  }
  std::string got;
  char buffer[512];
  while (got.size() < (100 + 101 + 102) * kEach) {
    const int count = rings.Read(buffer, sizeof buffer);
    ASSERT_GE(count, 0);
    got.append(buffer, static_cast<std::size_t>(count));
    if (count == 0) rings.Wait(1000);
  }
  for (std::thread& sender : senders) sender.join();
  EXPECT_TRUE(events.WaitFor("empty"));
  for (std::size_t at = 0; at < got.size();) {
    const std::size_t length = 100 + static_cast<std::size_t>(got[at] - 'a');
    ASSERT_EQ(got.substr(at, length), std::string(length, got[at])) << "at " << at;
    at += length;
  }
}

}  // namespace
}  // namespace vektest
