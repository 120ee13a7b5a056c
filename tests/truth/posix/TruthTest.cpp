// Compares the fate of each request with what the servers recorded, while server and gateway processes are
// killed at random moments. Not under Wine: its server sometimes goes on holding the sockets of a killed
// process, so that nobody can listen on that port again, and peers do not notice the end.
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <map>
#include <random>
#include <thread>

#include "platform/os/Process.h"
#include "shmem/Process.h"
#include "sim/SimServer.h"
#include "vekapi/Session.hpp"

namespace vektest {
namespace {

using namespace std::chrono_literals;
using VekApi::VekFate;
using VekApi::VekSession;

int Requests() {
  const char* const count = std::getenv("VEKAPI_TRUTH_REQUESTS");
  return count != nullptr ? std::atoi(count) : 8000;
}

// A port that was free a moment ago.
std::string FreePort() {
  return std::to_string(VekSim::SimServer().Port());
}

// A process that is killed and restarted.
class Mortal {
 public:
  explicit Mortal(std::function<std::unique_ptr<Process>()> start) : start_(std::move(start)) { Start(); }
  ~Mortal() { process_->Kill(); }
  void KillAndStart() {
    process_->Kill();
    Start();
  }

 private:
  void Start() { process_ = start_(); }

  const std::function<std::unique_ptr<Process>()> start_;
  std::unique_ptr<Process> process_;
};

// Servers and gateways, and the servers' records.
struct World {
  World() : folder(std::filesystem::temp_directory_path() / FreshName()) {
    std::filesystem::create_directory(folder);
  }
  ~World() {
    mortals.clear();
    std::filesystem::remove_all(folder);
  }

  // Returns its port.
  std::string AddServer() {
    const std::string port = FreePort(), ledger = folder / port;
    mortals.push_back(std::make_unique<Mortal>([port, ledger] {
      return std::make_unique<Process>(
          "veksim", std::vector<std::string>{"-q", "--port", port, "--ledger", ledger, "--rate", "1000/100",
                                             "--delay", "3"});
    }));
    return port;
  }

  // Returns its setting.
  std::string AddGateway(const std::string& upstream) {
    const std::string port = FreePort(), name = FreshName();
    mortals.push_back(std::make_unique<Mortal>([port, name, upstream] {
      const std::vector<std::string> options{"-q",         "--until-eof",           "--port", port,
                                             "--upstream", "127.0.0.1:" + upstream, "--name", name};
      auto gateway = std::make_unique<Process>("vekgate", options);
      gateway->ReadLine();  // it is listening
      return gateway;
    }));
    return ":ShMemCli:TCPClient:127.0.0.1:" + port + " n M0";
  }

  // How often the servers received each request, by its number.
  std::map<int, int> Seen() const {
    std::map<int, int> seen;
    for (const auto& record : std::filesystem::directory_iterator(folder)) {
      std::ifstream lines(record.path());
      for (std::string what, id, more; lines >> what >> id >> more;) {
        if (what == "saw" && id[0] == 'w') ++seen[std::stoi(id.substr(1))];
      }
    }
    return seen;
  }

  const std::filesystem::path folder;
  std::vector<std::unique_ptr<Mortal>> mortals;
};

// Submits requests on two threads, so many outstanding at a time, until enough were accepted, and records
// what is reported about each.
class Trader {
 public:
  Trader(const std::vector<std::string>& endpoints, std::int32_t ackRule)
      : told_(2 * Requests()), fates_(told_.size()), session_(Config(ackRule)) {
    for (const std::string& endpoint : endpoints) session_.AddEndpoint(endpoint);
    session_.AddResync("stats");
    session_.Open("secret");
  }

  void Run() {
    std::thread second([this] { SubmitAll(); });
    SubmitAll();
    second.join();
    session_.Close(2s);
    std::unique_lock lock(mutex_);
    settled_.wait_for(lock, 60s, [this] { return out_ == 0; });
    over_ = true;
    settled_.notify_all();
  }

  // Waits for so many more answers; false once all requests have their fates.
  bool AwaitAnswers(int count) {
    std::unique_lock lock(mutex_);
    const int wanted = answered_ + count;
    settled_.wait(lock, [&] { return over_ || answered_ >= wanted; });
    return !over_;
  }

  // Compares fates with records; returns the number of requests by fate.
  std::array<int, 8> Judge(std::map<int, int> seen) const {
    std::array<int, 8> counts{};
    for (int i = 0; i < next_; ++i) {
      const int fate = fates_[i], times = seen.contains(i) ? seen[i] : 0;
      EXPECT_EQ(told_[i], 1) << "w" << i << " has that many fates";
      EXPECT_LE(times, 1) << "w" << i << " was sent again; it was told " << CVekApi_Text(vst_Fate, fate, 0);
      const bool answered = fate == vsf_Acknowledged || fate == vsf_Answered;
      if (answered || fate == vsf_NeverSent || fate == vsf_Refused) {
        EXPECT_EQ(times, answered ? 1 : 0) << "w" << i << " was told " << CVekApi_Text(vst_Fate, fate, 0);
      }
      ++counts[fate];
      seen.erase(i);
    }
    EXPECT_TRUE(seen.empty()) << "nobody sent these";
    return counts;
  }

 private:
  static constexpr int kOut = 200;

  static CVekSessionConfig Config(std::int32_t ackRule) {
    CVekSessionConfig config = VekSession::Defaults();
    config.id1 = "trader";
    config.idPrefix = "made";  // distinct from those of the requests being judged
    config.ackRule = ackRule, config.idSeparator = '\x01';
    config.rateCount = 100, config.rateMs = 5;  // so that some are held
    config.firstDelayMs = 5, config.maxDelayMs = 50, config.maxShortLinks = 0;
    config.answerMs = 5000;
    return config;
  }

  void SubmitAll() {
    while (taken_ < Requests()) {
      {
        std::unique_lock lock(mutex_);
        settled_.wait(lock, [this] { return out_ < kOut; });
        ++out_;
      }
      SubmitOne(next_++);
    }
  }

  // A tenth are queries, a tenth are urgent.
  void SubmitOne(int i) {
    ASSERT_LT(i, static_cast<int>(told_.size())) << "too many were refused";
    const std::string id = "w" + std::to_string(i);
    CVekSubmit request = VekSession::Request(i % 10 == 0 ? cvmc_TaskResult : cvmc_RequestAck, 0ms, 0ms);
    request.workId = id.c_str();
    if (i % 10 == 5) request.flags = vsg_Urgent;
    const std::string text = id + (i % 10 == 0 ? " stats" : " new\nprod=TXF side=B qty=1 price=100");
    const VekFate now = session_.Submit(request, text, [this, i](VekFate fate) { Note(i, fate.fate); });
    if (now.fate != vsf_Refused) {
      ++taken_;
      return;
    }
    Note(i, vsf_Refused);
    ASSERT_TRUE(session_.WaitUntilUp(60s));
  }

  void Note(int i, std::int32_t fate) {
    ++told_[i];
    fates_[i] = fate;
    const std::lock_guard lock(mutex_);
    --out_;
    if (fate == vsf_Acknowledged || fate == vsf_Answered) ++answered_;
    settled_.notify_all();
  }

  std::vector<std::atomic<int>> told_, fates_;
  std::atomic<int> next_{0}, taken_{0};
  std::mutex mutex_;
  std::condition_variable settled_;
  int out_ = 0;  // submitted, fate still open
  int answered_ = 0;
  bool over_ = false;
  VekSession session_;
};

// Kills and restarts processes while the trader makes progress.
class Killer {
 public:
  Killer(World& world, Trader& trader) : world_(world), trader_(trader), thread_([this] { Run(); }) {}
  int Kills() {
    thread_.join();
    return kills_;
  }

 private:
  void Run() {
    std::minstd_rand random(static_cast<unsigned>(Requests()));
    while (trader_.AwaitAnswers(static_cast<int>(random() % 200))) {
      std::this_thread::sleep_for(std::chrono::microseconds(random() % 30'000));  // at any moment
      world_.mortals[random() % world_.mortals.size()]->KillAndStart();
      ++kills_;
    }
  }

  World& world_;
  Trader& trader_;
  int kills_ = 0;
  std::thread thread_;
};

void RunAndJudge(World& world, const std::vector<std::string>& endpoints, std::int32_t ackRule) {
  Trader trader(endpoints, ackRule);
  Killer killer(world, trader);
  trader.Run();
  const int kills = killer.Kills();
  const auto counts = trader.Judge(world.Seen());
  EXPECT_GT(counts[vsf_Acknowledged], 0);
  std::cout << Requests() << " requests, " << kills << " processes killed";
  for (int fate = vsf_Refused; fate <= vsf_Unknown; ++fate) {
    if (counts[fate] != 0) std::cout << ", " << counts[fate] << " " << CVekApi_Text(vst_Fate, fate, 0);
  }
  std::cout << "\n";
}

TEST(TruthLive, OverTcp) {
  for (const std::int32_t ackRule : {vsa_ByWorkId, vsa_InOrder}) {
    World world;
    const std::string one = "127.0.0.1:" + world.AddServer(), two = "127.0.0.1:" + world.AddServer();
    RunAndJudge(world, {one, two}, ackRule);
  }
}

TEST(TruthLive, OverSharedMemory) {
  World world;
  const std::string one = world.AddServer(), two = world.AddServer();
  const std::string gateway = world.AddGateway(one), other = world.AddGateway(two);
  RunAndJudge(world, {gateway, other}, vsa_ByWorkId);
}

}  // namespace
}  // namespace vektest
