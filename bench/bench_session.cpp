// The additional cost of a request through a session compared with SendVekRequest, on a link that accepts
// everything at once and does nothing; and the cost of a held request, by the number held, beside that of the
// memory it takes.
#include <algorithm>
#include <atomic>
#include <bit>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "keeper/TRequest.h"
#include "platform/transport/TMesRegs.h"
#include "support/TVirtualTimerQueue.h"
#include "support/Wire.h"
#include "vekapi/VekClient.h"
#include "vekapi/VekSessionC.h"

namespace {

std::atomic<std::size_t> allocations{0};

}  // namespace

void* operator new(std::size_t size) {
  allocations.fetch_add(1, std::memory_order_relaxed);
  if (void* const memory = std::malloc(size)) return memory;
  throw std::bad_alloc();
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}

namespace {

using Clock = std::chrono::steady_clock;

class NullMes final : public Dova::TMesBase {
 public:
  static inline NullMes* last = nullptr;

  bool Open() override {
    last = this;
    return true;
  }
  void Close() override { MarkClosed(); }
  int Send(const char*, int length) override { return length; }
  int Recv(char* buffer, int size) override {
    const std::size_t count = waiting_.copy(buffer, static_cast<std::size_t>(size));
    waiting_.erase(0, count);
    return static_cast<int>(count);
  }
  void SignOn() {
    Raise([this](Dova::TMesEvHandler& handler) { handler.OnMesLinkReady(this); });
    Deliver(vektest::ConnectResult(false, {}) + vektest::SgnResult());
  }
  void Deliver(const std::string& bytes) {
    waiting_ = bytes;
    Raise([this](Dova::TMesEvHandler& handler) { handler.OnMesRecvReady(this); });
  }

 private:
  std::string waiting_;
};

constexpr int kBatch = 100;
constexpr char kText[] = "W000000001 new\nprod=TXF side=B qty=1 price=18000 tif=ROD account=9800001 oc=auto";

double NsSince(Clock::time_point start) {
  return std::chrono::duration<double, std::nano>(Clock::now() - start).count();
}

CVekSession MakeUp(const CVekSessionConfig& config) {
  CVekSession session = CVekSession_Create(&config, nullptr);
  CVekSession_AddEndpoint(&session, ":NullMes:x");
  CVekSession_Open(&session);
  NullMes::last->SignOn();
  return session;
}

std::string Lines(int count) {
  std::string lines = "ok";
  for (int i = 1; i < count; ++i) lines += "\nok";
  return vektest::Message(129, lines);
}

CVekSubmit Request() {
  CVekSubmit request{};
  request.size = sizeof request;
  request.code = 129;
  request.mode = vsm_Hold;
  request.text = kText + 11;
  request.textLength = sizeof kText - 12;
  return request;
}

struct TRound {
  double client, session, answers;  // ns per request
};

struct TCosts {
  double least, median;
};

// The rounds are short, so that some of them run undisturbed: the least is the cost itself, and the median
// shows the load of the machine.
TCosts CostsOf(const std::vector<TRound>& rounds, double TRound::*which) {
  std::vector<double> costs;
  for (const TRound& round : rounds) costs.push_back(round.*which);
  std::sort(costs.begin(), costs.end());
  return {costs.front(), costs[costs.size() / 2]};
}

void Print(const char* what, TCosts costs) {
  std::printf("%-34s %8.0f ns (median %.0f)\n", what, costs.least, costs.median);
}

// Alternates both ways, so that other load on the machine affects both.
void CompareWays() {
  VekApi::VekClientHandlerBase handler;
  VekApi::VekClient client(handler);
  client.Connect(":NullMes:x", "bench", "1", "", "", "");
  NullMes::last->SignOn();
  CVekSessionConfig config;
  CVekSession_Defaults(&config, sizeof config);
  CVekSession session = MakeUp(config);
  const CVekSubmit request = Request();
  const std::string acks = Lines(kBatch);
  std::vector<TRound> rounds;
  rounds.reserve(5000);
  std::string buffer;
  std::size_t before = 0;
  for (std::size_t i = 0; i < rounds.capacity(); ++i) {
    if (i == rounds.capacity() / 2) before = allocations;
    TRound round{};
    auto start = Clock::now();
    for (int k = 0; k < kBatch; ++k) {
      buffer.assign("12345").append(kText);
      client.SendVekRequest(129, buffer.data(), static_cast<unsigned>(buffer.size()));
    }
    round.client = NsSince(start) / kBatch;
    start = Clock::now();
    for (int k = 0; k < kBatch; ++k) CVekSession_Submit(&session, &request, nullptr);
    round.session = NsSince(start) / kBatch;
    start = Clock::now();
    NullMes::last->Deliver(acks);
    round.answers = NsSince(start) / kBatch;
    rounds.push_back(round);
  }
  const std::size_t allocated = allocations - before;
  const TCosts plain = CostsOf(rounds, &TRound::client), kept = CostsOf(rounds, &TRound::session);
  Print("request through SendVekRequest", plain);
  Print("request through a session", kept);
  Print("  more than SendVekRequest", {kept.least - plain.least, kept.median - plain.median});
  Print("its acknowledgement, told", CostsOf(rounds, &TRound::answers));
  std::printf("allocations in %zu requests     %8zu\n", rounds.size() / 2 * kBatch, allocated);
  CVekSession_Delete(&session);
}

// From submission to acknowledgement, ten at a time.
double Held(int count) {
  TestSupport::TVirtualTimerQueue time;
  CVekSessionConfig config;
  CVekSession_Defaults(&config, sizeof config);
  config.rateCount = 10;
  config.rateMs = 1;
  config.holdMs = 60'000;
  config.maxHeld = 1'000'000;
  config.silenceMs = 0;
  CVekSession session = MakeUp(config);
  const CVekSubmit request = Request();
  const std::string acks = Lines(10);
  const std::clock_t start = std::clock();
  for (int i = 0; i < count; ++i) CVekSession_Submit(&session, &request, nullptr);
  CVekSessionStats stats{};
  stats.size = sizeof stats;
  do {
    NullMes::last->Deliver(acks);
    time.Advance(1);
    CVekSession_Stats(&session, &stats);
  } while (stats.held + stats.out > 0);
  const double ns = 1e9 * static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC / count;
  CVekSession_Delete(&session);
  return ns;
}

// The memory of so many held requests, written in the same order but without doing anything: when submitted,
// and when sent, an entry, its text, and a place at random in a table. The fences are for the locks, which
// let no request's misses overlap with those of the next.
double Touched(int count) {
  struct TEntry {
    char bytes[sizeof(VekApi::TRequest)];
    std::unique_ptr<char[]> text;
  };
  const std::clock_t start = std::clock();
  std::vector<std::unique_ptr<TEntry>> entries;
  std::vector<std::uint64_t> table(std::bit_ceil(2U * static_cast<unsigned>(count)));
  const auto place = [&](std::size_t i) { return (i * 0x9E3779B97F4A7C15 >> 32) & (table.size() - 1); };
  for (std::size_t i = 0; i < static_cast<std::size_t>(count); ++i) {
    entries.push_back(std::make_unique<TEntry>());
    entries[i]->text = std::make_unique<char[]>(sizeof kText + 16);
    std::memcpy(entries[i]->text.get(), kText, sizeof kText);
    ++table[place(i)];
    std::atomic_thread_fence(std::memory_order_seq_cst);
  }
  for (std::size_t i = 0; i < entries.size(); ++i) {
    std::memset(entries[i]->bytes, 1, sizeof entries[i]->bytes);
    std::memset(entries[i]->text.get(), 1, sizeof kText);
    --table[place(i)];
    std::atomic_thread_fence(std::memory_order_seq_cst);
  }
  return 1e9 * static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC / count;
}

// The least of some runs, which are as many as touch a fixed number of requests.
template <class TCost>
double LeastOf(int count, TCost cost) {
  double least = cost(count);
  for (int left = 500'000 / count; left > 0; --left) least = std::min(least, cost(count));
  return least;
}

void CompareHeld() {
  double few = 0;
  for (const int count : {1000, 10'000, 100'000}) {
    const double held = LeastOf(count, &Held), memory = LeastOf(count, &Touched);
    if (few == 0) few = held - memory;
    std::printf(
        "held request, %6d held           %8.0f ns, its memory alone %.0f; without it, %.2f times the "
        "first\n",
        count, held, memory, (held - memory) / few);
  }
}

}  // namespace

int main() {
  Dova::TMesRegs::GetClientMesRegs().Register("NullMes",
                                              [] { return Dstl::wise_ref<Dova::TMesBase>(new NullMes); });
  CompareWays();
  CompareHeld();
}
