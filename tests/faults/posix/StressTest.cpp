// Everything at once, from everywhere: events that act on their own session and on others, threads of the
// application, deadlines that pass at their exact moment, processes that are forked meanwhile.
//
// VEKAPI_STRESS_SECONDS=N goes on for longer, VEKAPI_SEED=N begins with the same numbers.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <iterator>
#include <memory>
#include <mutex>
#include <random>
#include <thread>
#include <vector>

#include "faults/posix/Held.h"
#include "faults/posix/Stress.h"
#include "faults/posix/Watchdog.h"
#include "platform/transport/TMesBase.h"
#include "platform/transport/TMesRegs.h"
#include "sim/SimServer.h"
#include "support/Recorder.h"
#include "support/TVirtualTimerQueue.h"
#include "support/Wire.h"

namespace Faults {
namespace {

// A messenger whose peer is whichever thread takes one at random.
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

std::string TcpSetting(const VekSim::SimServer& server) {
  return "127.0.0.1:" + std::to_string(server.Port());
}

// A client that nobody but the main thread uses, in real time: it stays up whatever children do with theirs.
class TStayer {
 public:
  explicit TStayer(const std::string& setting) {
    client_->Connect(setting, "Stayer", "1", "trader", "9800001", "secret");
    EXPECT_TRUE(recorder_.WaitFor("ready"));
    recorder_.Take();
  }

  // Still the same link, which carries requests and answers.
  void ExpectUp() {
    std::string request = ".....S" + std::to_string(++asked_) + " products";
    EXPECT_TRUE(client_->SendVekRequest(128, request.data(), static_cast<unsigned>(request.size())));
    EXPECT_TRUE(recorder_.WaitFor("result S" + std::to_string(asked_)));
    for (const std::string& line : recorder_.Take()) EXPECT_NE(line.rfind("connect", 0), 0U) << line;
  }

  void TryInherited(const std::string& setting) {
    recorder_.Take();
    client_->Connect(setting, "Child", "1", "trader", "9800001", "secret");
    client_->Disconnect();
    client_.reset();
  }

 private:
  vektest::Recorder recorder_;
  std::unique_ptr<VekApi::VekClient> client_ = std::make_unique<VekApi::VekClient>(recorder_);
  unsigned asked_ = 0;
};

const pid_t parent = getpid();

// What a forked child does with what it inherited, and by itself. Its verdict is its exit code.
[[noreturn]] void BeChild(TStayer& stayer, const std::vector<TWatched*>& inherited,
                          const std::string& setting) {
  DumpWhenKilled();
  alarm(60);
  static TWatchdog watchdog("a forked child", 20);
  Dova::TTimerQueue::Replace(nullptr);
  const bool failedBefore = testing::Test::HasFailure();
  for (TWatched* const each : inherited) {
    if (each) each->TryInherited(setting);
  }
  stayer.TryInherited(setting);
  if (testing::Test::HasFailure() && !failedBefore) std::_Exit(2);
  static vektest::Recorder& recorder = *new vektest::Recorder;
  static VekApi::VekClient client(recorder);
  client.Connect(setting, "Child", "1", "trader", "9800001", "secret");
  if (!recorder.WaitFor("ready")) std::_Exit(3);
  std::exit(0);
}

void ForkOnce(TStayer& stayer, TSlots& slots, const std::string& setting) {
  const auto held = slots.Hold();
  const pid_t child = fork();
  if (child == 0) BeChild(stayer, held, setting);
  slots.LetGo(held);
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0) << "a forked child fails, or hangs";
  stayer.ExpectUp();
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

#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
// ThreadSanitizer knows no threads in the child of a process with threads; AddressSanitizer's allocator may
// be locked there for ever, by a thread that the child does not have.
constexpr bool kCanFork = false;
#else
constexpr bool kCanFork = true;
#endif

TEST(Stress, EverythingAtOnce) {
  const unsigned seed = FromEnvironment("VEKAPI_SEED", std::random_device()());
  SCOPED_TRACE("VEKAPI_SEED=" + std::to_string(seed));
  SeedRandom(seed);
  DumpWhenKilled();
  TWatchdog watchdog("stress with VEKAPI_SEED=" + std::to_string(seed), 60);
  VekSim::SimConfig config;
  config.keepPackets = false;
  config.queryRate = {1000, 1, 0};
  VekSim::SimServer server(config);
  const std::string tcp = TcpSetting(server);
  TStayer stayer(tcp);
  TestSupport::TVirtualTimerQueue time;
  const THeld before = Held();
  {
    TSlots slots({":StressMes:", ":StressMes:", ":StressMes:", tcp, tcp});
    std::atomic<bool> stop{false};
    std::vector<std::thread> threads;
    const auto run = [&](auto action) {
      threads.emplace_back([&stop, action] {
        while (!stop) action();
      });
    };
    for (int i = 0; i < 2; ++i) run([&] { slots.Act(); });
    for (int i = 0; i < 3; ++i) run([] { TStressMes::PlayPeer(); });
    run([&] { LetDeadlinesPass(time); });
    const auto end =
        std::chrono::steady_clock::now() + std::chrono::seconds(FromEnvironment("VEKAPI_STRESS_SECONDS", 3));
    while (std::chrono::steady_clock::now() < end && !testing::Test::HasFailure()) {
      const unsigned long acts = slots.acts;
      while (slots.acts < acts + 100) std::this_thread::yield();
      if (kCanFork) ForkOnce(stayer, slots, tcp);
      watchdog.GoesOn("stress after " + std::to_string(slots.acts) +
                      " acts, VEKAPI_SEED=" + std::to_string(seed));
    }
    stop = true;
    for (std::thread& thread : threads) thread.join();
    std::printf("%lu acts, %lu events\n", slots.acts.load(), slots.events.load());
  }
  ExpectAsBefore(before, true);
}

}  // namespace
}  // namespace Faults

// What the stacks of the parent's threads held looks leaked in a child, which does not have them.
extern "C" int __lsan_is_turned_off();  // NOLINT: the leak sanitizer asks for it by this name
extern "C" int __lsan_is_turned_off() {
  return getpid() != Faults::parent ? 1 : 0;
}
