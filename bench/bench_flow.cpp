// The cost of pacing: the check of an open gate compared with an uncontended lock, holding and draining, and
// a batch compared with a plain send of the same bytes.
#include <benchmark/benchmark.h>

#include <chrono>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "platform/transport/TMesRegs.h"
#include "support/TestMes.h"
#include "support/Wire.h"
#include "vekapi/VekClient.h"
#include "vekapi/VekFlowCtrlSender.h"

namespace {

using Clock = std::chrono::steady_clock;
using VekApi::VekClient;
using VekApi::VekFlowCtrlSender;

struct Silent : VekApi::VekClientHandler {
  void OnVekConnectEvent(VekClient&, const std::string&) override {}
  void OnVekApReadyEvent(VekClient&) override {}
  void OnVekTaskResultEvent(VekClient&, const VekApi::VekTaskResult&) override {}
  void OnVekChgPassResultEvent(VekClient&, const std::string&, const std::string&) override {}
  void OnVekRequestAckEvent(VekClient&, int, const std::string&) override {}
  void OnVekReportEvent(VekClient&, const std::string&) override {}
  void OnVekClientDestroyEvent(VekClient&) override {}
};

// A session whose messenger accepts and discards everything.
class SinkMes : public vektest::TestMes {
 public:
  int Send(const char* bytes, int length) override {
    benchmark::DoNotOptimize(bytes[length - 1]);
    return length;
  }
};

struct Session {
  Session() {
    static const bool once = [] {
      Dova::TMesRegs::GetClientMesRegs().Register("SinkMes",
                                                  [] { return Dstl::wise_ref<Dova::TMesBase>(new SinkMes); });
      return true;
    }();
    benchmark::DoNotOptimize(once);
    client.Connect(":SinkMes:lend", "bench", "1", "", "", "");
    const auto mes = vektest::TestMes::Last();
    mes->Ready();
    mes->Deliver(vektest::ConnectResult(false, {}));
    mes->Deliver(vektest::SgnResult());
  }
  Silent handler;
  VekClient client{handler};
};

std::string Order() {
  return "W0000001 new\nacc=9800001 prod=TXF side=B qty=3 price=18250";
}

template <class TAct>
double NsPer(int rounds, TAct act) {
  const auto start = Clock::now();
  for (int i = 0; i < rounds; ++i) act();
  return std::chrono::duration<double, std::nano>(Clock::now() - start).count() / rounds;
}

void OpenGateBesideUncontendedLock(benchmark::State& state) {
  Session session;
  VekFlowCtrlSender gate(
      session.client);  // its timer thread makes locks cost what they cost in a multithreaded process
  gate.SetFlowCtrl(2'000'000'000, 1);
  gate.SetFlowCtrl(1, 1000);
  benchmark::DoNotOptimize(gate.CheckFlowCtrl());
  gate.StartCheckTimer();
  gate.SetFlowCtrl(2'000'000'000, 1);
  std::mutex mutex;
  double check = 0;
  double lock = 0;
  for (auto _ : state) {
    check += NsPer(1000, [&] { benchmark::DoNotOptimize(gate.CheckFlowCtrl()); });
    lock += NsPer(1000, [&] {
      mutex.lock();
      benchmark::ClobberMemory();
      mutex.unlock();
    });
  }
  const auto rounds = static_cast<double>(state.iterations());
  state.counters["check_ns"] = check / rounds;
  state.counters["lock_ns"] = lock / rounds;
  state.counters["ratio"] = check / lock;
}
BENCHMARK(OpenGateBesideUncontendedLock);

// Queues requests one by one, then sends them in batches of 100.
void HoldAndDrain(VekFlowCtrlSender& sender, int requests) {
  const std::string text = "....." + Order();
  sender.SetFlowCtrl(1, 1'000'000);
  sender.CheckFlowCtrl();
  for (int i = 0; i < requests; ++i) {
    std::string buffer = text;
    sender.SendVekRequest(buffer.data(), static_cast<unsigned>(buffer.size()));
  }
  while (sender.PendingCount() != 0) {
    sender.SetFlowCtrl(100, 1'000'000);
    sender.StartCheckTimer();
  }
}

void HoldAndDrainTenfold(benchmark::State& state) {
  Session session;
  VekFlowCtrlSender sender(session.client);
  double few = 0;
  double many = 0;
  for (auto _ : state) {
    few += NsPer(1, [&] { HoldAndDrain(sender, 10'000); });
    many += NsPer(1, [&] { HoldAndDrain(sender, 100'000); });
  }
  const auto rounds = static_cast<double>(state.iterations());
  state.counters["10k_ms"] = few / rounds / 1e6;
  state.counters["100k_ms"] = many / rounds / 1e6;
  state.counters["ratio"] = many / few;
}
BENCHMARK(HoldAndDrainTenfold)->Unit(benchmark::kMillisecond);

void BatchBesidePlainSend(benchmark::State& state) {
  Session session;
  VekFlowCtrlSender sender(session.client);
  sender.SetFlowCtrl(2'000'000'000, 1);
  const std::deque<std::string> orders(static_cast<std::size_t>(state.range(0)), Order());
  std::string text = ".....";
  for (const std::string& order : orders) text += (text.size() == 5 ? "" : "\n") + order;
  const std::string plain = text;
  double batch = 0;
  double send = 0;
  for (auto _ : state) {
    batch += NsPer(1, [&] { sender.SendVekRequests(orders); });
    send += NsPer(1, [&] {
      text = plain;  // a send modifies its buffer
      session.client.SendVekRequest(129, text.data(), static_cast<unsigned>(text.size()));
    });
    sender.SetAckTime(2'000'000'000);
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(plain.size()));
  const double bytes = static_cast<double>(plain.size()) * static_cast<double>(state.iterations());
  state.counters["batch_MBps"] = bytes * 1e3 / batch;
  state.counters["plain_MBps"] = bytes * 1e3 / send;
  state.counters["time_ratio"] = batch / send;
}
BENCHMARK(BatchBesidePlainSend)->Arg(1)->Arg(10)->Arg(100)->Arg(1000);

}  // namespace

BENCHMARK_MAIN();
