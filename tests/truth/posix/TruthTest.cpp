// Compares the fate of each request with what the servers recorded, while server and gateway processes are
// stopped and killed at random moments. Not under Wine: its server sometimes goes on holding the sockets of a
// killed process, so that nobody can listen on that port again, and peers do not notice the end.
#include <gtest/gtest.h>
#include <signal.h>

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
#include "truth/Trader.h"

namespace vektest {
namespace {

int Requests() {
  const char* const count = std::getenv("VEKAPI_TRUTH_REQUESTS");
  return count != nullptr ? std::atoi(count) : 8000;
}

// A port that was free a moment ago.
std::string FreePort() {
  return std::to_string(VekSim::SimServer().Port());
}

// A process that is stopped, killed and restarted.
class Mortal {
 public:
  explicit Mortal(std::function<std::unique_ptr<Process>()> start) : start_(std::move(start)) { Start(); }
  ~Mortal() { process_->Kill(); }
  void KillAndStart() {
    process_->Kill();
    Start();
  }
  // It stands still, with its sockets open, until it goes on or is killed.
  void Freeze() const { Signal(SIGSTOP); }
  void Thaw() const { Signal(SIGCONT); }

 private:
  void Start() { process_ = start_(); }
  void Signal(int number) const { kill(static_cast<pid_t>(process_->Id()), number); }

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
      Mortal& mortal = *world_.mortals[random() % world_.mortals.size()];
      const bool freezes = random() % 3 == 0;
      if (freezes) mortal.Freeze();
      std::this_thread::sleep_for(std::chrono::microseconds(random() % 30'000));  // at any moment
      if (freezes && random() % 2 == 0) {
        mortal.Thaw();
        continue;
      }
      mortal.KillAndStart();
      ++kills_;
    }
  }

  World& world_;
  Trader& trader_;
  int kills_ = 0;
  std::thread thread_;
};

void RunAndJudge(World& world, const std::vector<std::string>& endpoints, std::int32_t ackRule) {
  Trader trader(endpoints, Requests(), Trader::Config(ackRule));
  Killer killer(world, trader);
  trader.Run();
  const int kills = killer.Kills();
  const auto counts = trader.Judge(world.Seen());
  EXPECT_GT(counts[vsf_Acknowledged], 0);
  std::cout << trader.Words(counts) << "; " << kills << " processes killed\n";
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
