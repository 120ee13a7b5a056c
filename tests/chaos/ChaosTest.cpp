// Clients and sessions against servers on real sockets, through proxies that do what networks do: what each
// was told about its requests against what the servers saw.
//
// VEKAPI_CHAOS_MINUTES=N runs that long, VEKAPI_SEED=N starts with the same numbers.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <iostream>
#include <thread>

#include "chaos/Plain.h"
#include "chaos/Proxy.h"
#include "chaos/Surroundings.h"
#include "sim/SimServer.h"
#include "support/Held.h"
#include "support/Sanitized.h"
#include "support/Watchdog.h"
#include "truth/Trader.h"

namespace Chaos {
namespace {

using vektest::Trader;
using TClock = std::chrono::steady_clock;

constexpr unsigned kLongest = 300'000;
constexpr std::size_t kMemoryBytes = 24u << 20;
constexpr std::size_t kArenaBytes = 128u << 20;  // what the allocator reserves for threads varies

unsigned FromEnvironment(const char* name, unsigned otherwise) {
  const char* const text = std::getenv(name);
  return text ? static_cast<unsigned>(std::strtoul(text, nullptr, 10)) : otherwise;
}

// Silent links are found out soon, because the proxies make many.
CVekSessionConfig ConfigOf(unsigned seed) {
  CVekSessionConfig config = Trader::Config(seed % 2 == 0 ? vsa_ByWorkId : vsa_InOrder);
  config.silenceMs = 400, config.probe = "stats";
  config.connectMs = config.signOnMs = config.resyncMs = 800;
  config.answerMs = 2000;
  config.seed = seed;
  return config;
}

struct TServer {
  TServer(unsigned seed) : server(ledger.Config()), proxy(server.Port(), seed) {}
  std::string Setting() const { return "127.0.0.1:" + std::to_string(proxy.Port()); }

  TLedger ledger;
  VekSim::SimServer server;
  TProxy proxy;
};

class ChaosTest : public testing::Test {
 protected:
  void Round(unsigned seed) {
    TServer one(2 * seed), two(2 * seed + 1);
    std::vector<std::string> endpoints{one.Setting(), two.Setting()};
    const TSignals signals;
    Trader trader(endpoints, kRequests, ConfigOf(seed), kLongest);
    TPlain plain("p", one.Setting()), other("r", two.Setting());
    std::atomic<bool> over{false};
    const auto run = [&over](TPlain& each) {
      return std::thread([&] {
        while (!over) each.Turn();
      });
    };
    std::thread first = run(plain), second = run(other);
    trader.Run();
    over = true;
    first.join();
    second.join();
    for (TServer* const each : {&one, &two}) each->proxy.Calm();
    plain.LastTurn(one.ledger);
    other.LastTurn(two.ledger);
    Judge(trader, one, two);
    plain.Judge(one.ledger.Requests());
    other.Judge(two.ledger.Requests());
  }

  void Judge(const Trader& trader, const TServer& one, const TServer& two) {
    std::map<int, int> seen;
    for (const TServer* const each : {&one, &two}) {
      for (const TSeen& request : each->ledger.Requests())
        if (request.id[0] == 'w') ++seen[std::stoi(request.id.substr(1))];
      const VekSim::SimSeen now = each->server.Seen();
      EXPECT_EQ(now.broken, 0U) << "a request was torn";
      EXPECT_EQ(now.strays, 0U) << "a request was torn, or came before the sign-on";
      const TCounts counts = each->proxy.Counts();
      counts_.links += counts.links, counts_.resets += counts.resets, counts_.stops += counts.stops;
      counts_.halfCloses += counts.halfCloses, counts_.silences += counts.silences;
      counts_.bytes += counts.bytes;
    }
    const auto fates = trader.Judge(std::move(seen));
    for (std::size_t i = 0; i < fates.size(); ++i) fates_[i] += fates[i];
  }

  void Print(unsigned rounds, const TMemory& before, const TMemory& now) const {
    std::cout << rounds << " rounds, " << counts_.links << " links, " << counts_.bytes << " bytes, "
              << counts_.resets << " resets, " << counts_.halfCloses << " half closes, " << counts_.silences
              << " silences, " << counts_.stops << " stops\n";
    for (int fate = vsf_Refused; fate <= vsf_Unknown; ++fate) {
      std::cout << fates_[static_cast<std::size_t>(fate)] << " " << CVekApi_Text(vst_Fate, fate, 0)
                << (fate == vsf_Unknown ? "\n" : ", ");
    }
    std::cout << "resident " << before.resident / 1024 << " to " << now.resident / 1024 << " KiB, data "
              << before.data / 1024 << " to " << now.data / 1024 << " KiB\n";
  }

  const unsigned seed_ = FromEnvironment("VEKAPI_SEED", 1);
  TCounts counts_;
  std::array<int, 8> fates_{};
};

TEST_F(ChaosTest, EveryRequestIsOnTheWireOnceOrTheLinkIsReportedBroken) {
  const unsigned minutes = FromEnvironment("VEKAPI_CHAOS_MINUTES", 0);
  const auto end = TClock::now() + std::chrono::minutes(minutes) + std::chrono::seconds(1);
  TestSupport::TWatchdog watchdog("chaos", 120);
  // The first rounds allocate what is made once and kept.
  const unsigned first = minutes == 0 ? 1 : 20;
  unsigned rounds = 0;
  TestSupport::THeld held;
  TMemory before;
  do {
    SCOPED_TRACE("VEKAPI_SEED=" + std::to_string(seed_ + rounds));
    watchdog.GoesOn("chaos with VEKAPI_SEED=" + std::to_string(seed_ + rounds));
    Round(seed_ + rounds);
    if (++rounds == first) held = TestSupport::Held(), before = MemoryNow();
  } while (!HasFailure() && (rounds < first + 1 || TClock::now() < end));
  const TMemory now = MemoryNow();
  Print(rounds, before, now);
  if (HasFailure()) return;
  EXPECT_GT(fates_[vsf_Acknowledged] + fates_[vsf_Answered], 0);
  TestSupport::SettlesTo(held);
  if (TestSupport::kSanitized) return;
  EXPECT_LT(now.resident, before.resident + kMemoryBytes);
  EXPECT_LT(now.data, before.data + kArenaBytes);
}

}  // namespace
}  // namespace Chaos
