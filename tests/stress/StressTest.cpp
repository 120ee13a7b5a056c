// Everything at once, from everywhere: events that act on their own session and on others, threads of the
// application, deadlines that expire at their exact moment, processes that fork meanwhile.
//
// VEKAPI_STRESS_SECONDS=N runs longer, VEKAPI_SEED=N starts with the same numbers.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <memory>
#include <mutex>
#include <random>
#include <thread>
#include <vector>

#include "platform/transport/TMesBase.h"
#include "platform/transport/TMesRegs.h"
#include "sim/SimServer.h"
#include "stress/Stress.h"
#include "support/Forked.h"
#include "support/Held.h"
#include "support/Recorder.h"
#include "support/SimSession.h"
#include "support/TVirtualTimerQueue.h"
#include "support/Watchdog.h"
#include "support/Wire.h"

namespace Stress {
namespace {

// A messenger whose peer is any thread that picks one at random.
class TStressMes final : public Dova::TMesBase {
 public:
  bool Open() override {
    const std::lock_guard lock(mutex_);
    open_.emplace_back(this);
    return true;
  }
  void Close() override {
    if (!MarkClosed()) return;
    const std::lock_guard lock(mutex_);
    std::erase_if(open_, [this](const auto& each) { return each.get() == this; });
  }
  int Send(const char*, int length) override { return IsClosed() ? 0 : length; }
  int Recv(char*, int) override { return 0; }
  char* RecvInPlace(int& count) override {
    count = static_cast<int>(lent_.size());
    return lent_.data();
  }

  static void PlayPeer() {
    if (const auto mes = Any()) mes->Play();
  }

 private:
  static Dstl::wise_ref<TStressMes> Any() {
    const std::lock_guard lock(mutex_);
    if (open_.empty()) return {};
    return open_[Random(static_cast<unsigned>(open_.size()))];
  }

  void Play() {
    const unsigned what = Random(20);
    if (what == 0) return void(Raise([this](auto& handler) { handler.OnMesLinkBroken(this, "broken"); }));
    if (what == 1) return void(Raise([this](auto& handler) { handler.OnMesLinkError(this, "error"); }));
    if (what < 5) return void(Raise([this](auto& handler) { handler.OnMesLinkReady(this); }));
    std::string bytes = what < 10 ? vektest::ConnectResult(false, {}) + vektest::SgnResult()
                                  : vektest::Message(130, "one") + vektest::Message(131, "two");
    Raise([&](auto& handler) {
      lent_ = std::move(bytes);
      handler.OnMesRecvReady(this);
    });
  }

  std::string lent_;
  static inline std::mutex mutex_;
  static inline std::vector<Dstl::wise_ref<TStressMes>> open_;
};

const bool registered = [] {
  Dova::TMesRegs::GetClientMesRegs().Register("StressMes",
                                              [] { return Dstl::wise_ref<Dova::TMesBase>(new TStressMes); });
  return true;
}();

// A client used only by the main thread, in real time: it stays up whatever children do with theirs.
class TStayer {
 public:
  explicit TStayer(const std::string& setting) {
    vektest::Connect(*client_, setting);
    EXPECT_TRUE(recorder_.WaitFor("ready"));
    recorder_.Take();
  }

  // Still the same link, which carries requests and answers.
  void ExpectUp() {
    EXPECT_TRUE(vektest::Send(*client_, 128, "S" + std::to_string(++asked_) + " products"));
    EXPECT_TRUE(recorder_.WaitFor("result S" + std::to_string(asked_)));
    for (const std::string& line : recorder_.Take()) EXPECT_NE(line.rfind("connect", 0), 0U) << line;
  }

  void TryInherited(const std::string& setting) {
    recorder_.Take();
    vektest::Connect(*client_, setting);
    client_->Disconnect();
    client_.reset();
  }

 private:
  vektest::Recorder recorder_;
  std::unique_ptr<VekApi::VekClient> client_ = std::make_unique<VekApi::VekClient>(recorder_);
  unsigned asked_ = 0;
};

// What a forked child does with its inherited objects, and on its own; 0 on success.
int BeChild(TStayer& stayer, const std::vector<TWatched*>& inherited, const std::string& setting) {
  TestSupport::DumpWhenKilled();
  Dova::TTimerQueue::Replace(nullptr);
  const bool failedBefore = testing::Test::HasFailure();
  for (TWatched* const each : inherited) {
    if (each) each->TryInherited(setting);
  }
  stayer.TryInherited(setting);
  if (testing::Test::HasFailure() && !failedBefore) return 2;
  static vektest::Recorder& recorder = *new vektest::Recorder;
  static VekApi::VekClient client(recorder);
  vektest::Connect(client, setting);
  return recorder.WaitFor("ready") ? 0 : 3;
}

// A heartbeat, a stage of the handshake, and just before them.
void LetDeadlinesPass(TestSupport::TVirtualTimerQueue& time) {
  static constexpr unsigned kStepsMs[] = {1, 100, 15'000, 29'999, 30'000, 44'999, 45'000};
  time.Advance(kStepsMs[Random(std::size(kStepsMs))]);
}

unsigned FromEnvironment(const char* name, unsigned otherwise) {
  const char* const text = std::getenv(name);
  return text ? static_cast<unsigned>(std::strtoul(text, nullptr, 10)) : otherwise;
}

// Threads that act repeatedly until the object is destroyed.
class TActors {
 public:
  TActors() = default;
  ~TActors() {
    stop_ = true;
    for (std::thread& thread : threads_) thread.join();
  }
  TActors(const TActors&) = delete;
  TActors& operator=(const TActors&) = delete;

  template <class TAction>
  void Add(TAction action) {
    threads_.emplace_back([this, action] {
      while (!stop_.load(std::memory_order_relaxed)) {
        if (paused_.load(std::memory_order_relaxed)) Rest();
        action();
      }
    });
  }

  // Calls `action` while none of them acts.
  template <class TAction>
  void Pause(const TAction& action) {
    std::unique_lock lock(mutex_);
    paused_ = true;
    changed_.wait(lock, [this] { return resting_ == threads_.size(); });
    lock.unlock();
    action();
    lock.lock();
    paused_ = false;
    changed_.notify_all();
  }

 private:
  void Rest() {
    std::unique_lock lock(mutex_);
    ++resting_;
    changed_.notify_all();
    changed_.wait(lock, [this] { return !paused_; });
    --resting_;
  }

  std::atomic<bool> stop_{false};
  std::atomic<bool> paused_{false};
  std::mutex mutex_;
  std::condition_variable changed_;
  std::size_t resting_ = 0;
  std::vector<std::thread> threads_;
};

class StressTest : public testing::Test {
 protected:
  StressTest() {
    SeedRandom(seed_);
    TestSupport::DumpWhenKilled();
  }

  static VekSim::SimConfig Config() {
    VekSim::SimConfig config;
    config.keepPackets = false;
    config.queryRate = {1000, 1, 0};
    return config;
  }

  void RunFor(std::chrono::seconds length) {
    TSlots slots({":StressMes:", ":StressMes:", ":StressMes:", tcp_, tcp_});
    {
      TActors actors;
      for (int i = 0; i < 2; ++i) actors.Add([&] { slots.Act(); });
      for (int i = 0; i < 3; ++i) actors.Add([] { TStressMes::PlayPeer(); });
      actors.Add([&] { LetDeadlinesPass(time_); });
      const auto end = std::chrono::steady_clock::now() + length;
      do {
        for (const auto before = slots.acts.load(); slots.acts < before + 100;) std::this_thread::yield();
        Fork(actors, slots);
        watchdog_.GoesOn(about_ + " after " + std::to_string(slots.acts) + " acts");
      } while (std::chrono::steady_clock::now() < end && !HasFailure());
    }
    std::printf("%lu acts, %lu events\n", slots.acts.load(), slots.events.load());
  }

 private:
  void Fork(TActors& actors, TSlots& slots) {
    if (TestSupport::kForksAtAnyMoment) {
      ForkOnce(slots);
    } else if (Random(20) == 0) {
      actors.Pause([&] { ForkOnce(slots); });
    }
  }

  void ForkOnce(TSlots& slots) {
    const auto held = slots.Hold();
    const auto code = TestSupport::ExitCodeOfChild([&] { return BeChild(stayer_, held, tcp_); });
    slots.LetGo(held);
    EXPECT_EQ(code.value_or(0), 0) << "a forked child fails, or hangs";
    stayer_.ExpectUp();
  }

  const unsigned seed_ = FromEnvironment("VEKAPI_SEED", std::random_device()());
  const std::string about_ = "stress with VEKAPI_SEED=" + std::to_string(seed_);
  const testing::ScopedTrace trace_{__FILE__, __LINE__, about_};
  TestSupport::TWatchdog watchdog_{about_, 60};
  VekSim::SimServer server_{Config()};
  const std::string tcp_ = vektest::Setting(server_);
  TStayer stayer_{tcp_};
  TestSupport::TVirtualTimerQueue time_;
};

TEST_F(StressTest, EverythingAtOnce) {
  RunFor(std::chrono::seconds(0));  // for allocations made once and kept
  const TestSupport::THeld before = TestSupport::Held();
  RunFor(std::chrono::seconds(FromEnvironment("VEKAPI_STRESS_SECONDS", 3)));
  TestSupport::SettlesTo(before);
}

}  // namespace
}  // namespace Stress
