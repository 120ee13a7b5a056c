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

// The stream of one direction: each message contains its length, its number, and bytes derived from both.
class Messages {
 public:
  explicit Messages(unsigned seed) : random_(seed) {}

  // Sizes from 1 byte to 64 KiB, small and large equally likely.
  std::string Next() {
    const double exponent = std::uniform_real_distribution<double>(0, 16)(random_);
    const auto length = static_cast<std::uint32_t>(std::exp2(exponent));
    std::string message(8 + length, '\0');
    std::memcpy(message.data(), &length, 4);
    std::memcpy(message.data() + 4, &number_, 4);
    std::memset(message.data() + 8, Fill(number_), length);
    ++number_;
    return message;
  }
  static int Fill(std::uint32_t number) { return static_cast<int>(number * 7 % 251); }

 private:
  std::minstd_rand random_;
  std::uint32_t number_ = 0;
};

// Reassembles the stream and counts the messages that are complete and in order.
class Checker {
 public:
  void Take(const char* bytes, std::size_t count) {
    bytes_.append(bytes, count);
    std::size_t at = 0;
    while (good && bytes_.size() - at >= 8) {
      std::uint32_t head[2];
      std::memcpy(head, bytes_.data() + at, 8);
      if (head[1] != whole || head[0] == 0 || head[0] > 65536) good = false;
      if (!good || bytes_.size() - at - 8 < head[0]) break;
      const char* const body = bytes_.data() + at + 8;
      const auto fill = static_cast<char>(Messages::Fill(head[1]));
      good = body[0] == fill && std::memcmp(body, body + 1, head[0] - 1) == 0;
      at += 8 + head[0];
      ++whole;
    }
    bytes_.erase(0, at);
  }
  std::uint32_t whole = 0;
  bool good = true;

 private:
  std::string bytes_;
};

struct StreamCase {
  std::uint32_t ringBytes;
  std::uint32_t messages;
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
    char buffer[65536];
    for (int count = 0; (count = from->Recv(buffer, sizeof buffer)) > 0;) {
      down_.Take(buffer, static_cast<std::size_t>(count));
    }
    Note(received_, down_);
  }
  void OnMesLinkBroken(Dova::TMesBase*, const std::string& reason) override {
    ADD_FAILURE() << reason;
    const std::lock_guard lock(mutex_);
    broken_ = true;
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
    Messages messages(1);
    std::string writing;
    std::size_t at = 0;
    std::uint32_t made = 0;
    std::string buffer(65536, '\0');
    while (up_.good && (up_.whole < total_ || made < total_ || at < writing.size())) {
      if (at == writing.size() && made < total_) {
        writing = messages.Next();
        at = 0;
        ++made;
      }
      const int wrote = rings.Write(writing.data() + at, writing.size() - at);
      const int read = rings.Read(buffer.data(), buffer.size());
      ASSERT_GE(wrote, 0);
      ASSERT_GE(read, 0);
      at += static_cast<std::size_t>(wrote);
      up_.Take(buffer.data(), static_cast<std::size_t>(read));
      if (read != 0) Note(arrived_, up_);
      if (wrote == 0 && read == 0 && rings.Wait() == 0) return;
    }
  }

  // Lets a heartbeat period pass, and answers it as a gateway does.
  void Heartbeat() {
    time.Advance(30'000);
    EXPECT_EQ(proxy->TakeSent(), "Hb:\n");
    proxy->Deliver("Hb:\n");
  }

  void Note(std::uint32_t& count, const Checker& checker) {
    const std::lock_guard lock(mutex_);
    count = checker.whole;
    broken_ = broken_ || !checker.good;
    changed_.notify_all();
  }
  // False if the stream has ended before.
  bool Await(const std::uint32_t& count, std::uint32_t wanted) {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return broken_ || count >= wanted; });
    return !broken_;
  }

  std::uint32_t total_ = LongRun() ? 1'000'000 : GetParam().messages;
  Checker up_, down_;
  std::thread gateway_;

  std::mutex mutex_;
  std::condition_variable changed_;
  std::uint32_t arrived_ = 0;   // of those sent to the gateway
  std::uint32_t received_ = 0;  // of those from it
  bool broken_ = false;
};

// The queue accepts everything, so the sender limits itself.
constexpr std::uint32_t kAhead = 200;

TEST_P(StressStream, BothWaysInOrderAndWhole) {
  Start();
  Messages messages(2);
  for (std::uint32_t i = 0; i < total_; ++i) {
    const std::string message = messages.Next();
    ASSERT_EQ(mes->Send(message.data(), static_cast<int>(message.size())), static_cast<int>(message.size()));
    ASSERT_TRUE(Await(arrived_, i < kAhead ? 0 : i - kAhead)) << "after " << arrived_;
    if (i % (total_ / 10) == 1) Heartbeat();
  }
  ASSERT_TRUE(Await(received_, total_)) << "after " << received_;
  gateway_.join();
  EXPECT_TRUE(up_.good) << "at message " << up_.whole;
  EXPECT_EQ(up_.whole, total_);
  EXPECT_EQ(down_.whole, total_);
}
INSTANTIATE_TEST_SUITE_P(ByRing, StressStream,
                         testing::Values(StreamCase{4096, 5'000}, StreamCase{1 << 20, 20'000}));

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
