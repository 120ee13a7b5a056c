// The additional cost of a request through a session compared with SendVekRequest, on a link that accepts
// everything at once and does nothing; and the cost of a held request, by the number held.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <new>
#include <string>
#include <vector>

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

double MedianOf(std::vector<TRound>& rounds, double (*of)(const TRound&)) {
  const auto middle = rounds.begin() + static_cast<std::ptrdiff_t>(rounds.size() / 2);
  std::nth_element(rounds.begin(), middle, rounds.end(),
                   [of](const TRound& left, const TRound& right) { return of(left) < of(right); });
  return of(*middle);
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
  const double plain = MedianOf(rounds, [](const TRound& round) { return round.client; });
  const double kept = MedianOf(rounds, [](const TRound& round) { return round.session; });
  const double more = MedianOf(rounds, [](const TRound& round) { return round.session - round.client; });
  const double answers = MedianOf(rounds, [](const TRound& round) { return round.answers; });
  std::printf("request through SendVekRequest        %8.0f ns\n", plain);
  std::printf("request through a session             %8.0f ns, %.0f more\n", kept, more);
  std::printf("its acknowledgement, told             %8.0f ns\n", answers);
  std::printf("allocations in %zu requests       %8zu\n", rounds.size() / 2 * kBatch, allocated);
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

}  // namespace

int main() {
  Dova::TMesRegs::GetClientMesRegs().Register("NullMes",
                                              [] { return Dstl::wise_ref<Dova::TMesBase>(new NullMes); });
  CompareWays();
  std::printf("held request, 1000 held               %8.0f ns\n", Held(1000));
  std::printf("held request, 10000 held              %8.0f ns\n", Held(10'000));
  std::printf("held request, 100000 held             %8.0f ns\n", Held(100'000));
}
