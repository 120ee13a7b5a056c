// The fixed cost of every send, postponing its heartbeat and asking the limiter, compared with an uncontended
// mutex. With the argument "rows" only what scripts/bench.py shows.
#include <benchmark/benchmark.h>

#include <deque>
#include <mutex>
#include <string>

#include "Rows.h"
#include "flowctrl/TFlowCtrl.h"
#include "platform/os/Clock.h"
#include "platform/runtime/TTimer.h"

namespace {

struct TOwner {
  void OnTimer() {}
};

struct TLimiter : Dova::TFlowCtrl {
  TLimiter() : TFlowCtrl(true) {}
};

void UncontendedMutex(benchmark::State& state) {
  // The system's mutex is cheaper in a process with one thread; here it has two, as in any session.
  TOwner owner;
  Dova::TTimer<TOwner> timer(Dova::ots_OneShot, owner);
  timer.Start(30000);
  std::mutex mutex;
  for (auto _ : state) {
    mutex.lock();
    benchmark::ClobberMemory();
    mutex.unlock();
  }
}
BENCHMARK(UncontendedMutex);

void ReadClock(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(Dova::Os::MonotonicNs());
}
BENCHMARK(ReadClock);

void RearmTimer(benchmark::State& state) {
  TOwner owner;
  Dova::TTimer<TOwner> timer(Dova::ots_OneShot, owner);
  timer.Start(&TOwner::OnTimer, 30000);
  for (auto _ : state) timer.Start(30000);
}
BENCHMARK(RearmTimer);

void PostponeTimer(benchmark::State& state) {
  TOwner owner;
  Dova::TTimer<TOwner> timer(Dova::ots_OneShot, owner);
  timer.Start(&TOwner::OnTimer, 30000);
  for (auto _ : state) timer.Postpone(30000);
}
BENCHMARK(PostponeTimer);

void RearmTimerWithTarget(benchmark::State& state) {
  TOwner owner;
  Dova::TTimer<TOwner> timer(Dova::ots_OneShot, owner);
  for (auto _ : state) timer.Start(&TOwner::OnTimer, 30000);
}
BENCHMARK(RearmTimerWithTarget);

// The same among a thousand others, each postponed in turn.
void RearmOneOfThousand(benchmark::State& state) {
  TOwner owner;
  std::deque<Dova::TTimer<TOwner>> timers;
  for (int i = 0; i < 1000; ++i) timers.emplace_back(Dova::ots_OneShot, owner).Start(30000);
  std::size_t next = 0;
  for (auto _ : state) {
    timers[next].Start(30000);
    next = next == 999 ? 0 : next + 1;
  }
}
BENCHMARK(RearmOneOfThousand);

void CheckAndAcknowledge(benchmark::State& state) {
  TLimiter limiter;
  limiter.SetFlowCtrl(1'000'000'000, 1);
  for (auto _ : state) {
    benchmark::DoNotOptimize(limiter.CheckFlowCtrlWaitAck());
    limiter.SetAckTime(1);
  }
}
BENCHMARK(CheckAndAcknowledge);

void CheckRefused(benchmark::State& state) {
  TLimiter limiter;
  limiter.SetFlowCtrl(1, 1'000'000);
  benchmark::DoNotOptimize(limiter.CheckFlowCtrlWaitAck());
  for (auto _ : state) benchmark::DoNotOptimize(limiter.CheckFlowCtrlWaitAck());
}
BENCHMARK(CheckRefused);

void CheckUnconfigured(benchmark::State& state) {
  TLimiter limiter;
  for (auto _ : state) benchmark::DoNotOptimize(limiter.CheckFlowCtrlWaitAck());
}
BENCHMARK(CheckUnconfigured);

void Rows() {
  TOwner owner;
  Dova::TTimer<TOwner> timer(Dova::ots_OneShot, owner);
  timer.Start(&TOwner::OnTimer, 30000);
  std::mutex mutex;
  rows::ByTurns(
      "postpone a timer", "ns", 500,
      {rows::Repeated("ours", 500, [&] { timer.Postpone(30000); }), rows::Repeated("lock", 500, [&] {
         mutex.lock();
         benchmark::ClobberMemory();
         mutex.unlock();
       })});
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 2 && std::string(argv[1]) == "rows") return Rows(), 0;
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
}
