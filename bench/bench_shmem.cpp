// The shared-memory transport compared with alternatives, in one run; the peer is another process.
//   bench_shmem         round trips of 128 bytes through the client's messenger over shared memory and
//                       over TCP, and through bare rings with the same wake-up; idle threads sleep
//   bench_shmem spin    both sides poll, compared with a bare ring that never sleeps, also with an
//                       answer that takes a while; takes two processors
//   bench_shmem tcp     over TCP with spin= compared with sleeping
//   bench_shmem stream  messages of 4 KiB compared with copying them
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <future>
#include <string>
#include <vector>

#include "ShMemPeer.h"
#include "Trips.h"
#include "platform/transport/TMesRegs.h"
#include "shmem/Process.h"
#include "shmem/TShMemCli.h"
#include "support/TVirtualTimerQueue.h"
#include "support/TestMes.h"

namespace {

using shmempeer::kMessageBytes;
using shmempeer::kMessages;
using shmempeer::kStreamBytes;
using Clock = std::chrono::steady_clock;

constexpr int kTripBytes = 128;
constexpr int kSpinUs = 100'000;
constexpr int kLateUs = 20;
constexpr std::size_t kBatch = 100;
constexpr std::size_t kBatches = 40;  // for each link

// Slices of a batch each; the first warms up.
class Batches {
 public:
  explicit Batches(rows::Series& series) : series_(series) {}
  bool Done() const { return trips_ == kBatch * (kBatches + 1); }
  void Begin() { start_ = Clock::now(); }
  void End() {
    if (trips_ >= kBatch) series_.Call(MicrosecondsSince(start_));
    if (++trips_ % kBatch != 0) return;
    if (trips_ > kBatch) series_.End();
    series_.Begin();
  }

 private:
  rows::Series& series_;
  std::size_t trips_ = 0;
  Clock::time_point start_;
};

// Sends the next message inside the event of the previous one.
class Pinger : public Dova::TMesEvHandler {
 public:
  explicit Pinger(rows::Series& series) : batches_(series) {}
  std::promise<void> done;

  void OnMesLinkReady(Dova::TMesBase* mes) override { Ping(*mes); }
  void OnMesLinkError(Dova::TMesBase*, const std::string& reason) override { Die(reason); }
  void OnMesLinkBroken(Dova::TMesBase*, const std::string& reason) override { Die(reason); }
  void OnMesRecvReady(Dova::TMesBase* mes) override {
    char buffer[65536];
    for (int count = 0; (count = mes->Recv(buffer, sizeof buffer)) > 0;) have_ += count;
    while (have_ >= kTripBytes) {
      have_ -= kTripBytes;
      OnTrip(*mes);
    }
  }

 private:
  static void Die(const std::string& reason) {
    std::fprintf(stderr, "link lost: %s\n", reason.c_str());
    std::exit(1);
  }
  void OnTrip(Dova::TMesBase& mes) {
    batches_.End();
    if (!batches_.Done()) return Ping(mes);
    done.set_value();
  }
  void Ping(Dova::TMesBase& mes) {
    const char bytes[kTripBytes] = {};
    batches_.Begin();
    if (mes.Send(bytes, kTripBytes) != kTripBytes) std::exit(2);
  }

  int have_ = 0;
  Batches batches_;
};

void Open(Dova::TMesBase& mes, Dova::TMesEvHandler& handler) {
  mes.SetEvHandler(&handler);
  const Dova::TSyncScope inside(mes.SyncContext());
  if (!mes.Open()) std::exit(3);
}

void Close(Dova::TMesBase& mes) {
  const Dova::TSyncScope inside(mes.SyncContext());
  mes.SetEvHandler(nullptr);
  mes.Close();
}

// Another process that owns rings.
class Peer {
 public:
  explicit Peer(const shmempeer::Order& order)
      : process_(vektest::Self(), {order.role, std::to_string(order.ringBytes), std::to_string(order.spinUs),
                                   std::to_string(order.lateUs)}),
        name(process_.ReadLine()) {
    if (name.empty()) std::exit(4);
  }

 private:
  vektest::Process process_;

 public:
  const std::string name;
};

// A proxy link with a spin= option.
class SpinningMes : public vektest::TestMes {
 public:
  static void Register() {
    Dova::TMesRegs::GetClientMesRegs().Register("SpinningMes",
                                                [] { return Dstl::wise_ref<TMesBase>(new SpinningMes); });
  }
  int TakeSpinUs() override { return kSpinUs; }
};

// A linked messenger whose rings are owned by a peer with that role.
class LinkedRings {
 public:
  LinkedRings(Dova::TMesEvHandler& handler, const shmempeer::Order& order)
      : peer_(order), mes(Dova::TShMemCli::Make()) {
    if (!mes->SettingApply(order.spinUs != 0 ? "SpinningMes:ok" : "TestMes:ok")) std::exit(4);
    Open(*mes, handler);
    const auto proxy = vektest::TestMes::Last();
    proxy->Ready();
    proxy->Deliver("Ack:ShMemName:" + peer_.name + "\n");
  }
  ~LinkedRings() { Close(*mes); }

 private:
  const Peer peer_;

 public:
  Dstl::wise_ref<Dova::TMesBase> mes;
};

void TripOverRings(rows::Series& series, int spinUs = 0, int lateUs = 0) {
  Pinger pinger(series);
  const LinkedRings link(pinger, {"echo", 1 << 16, spinUs, lateUs});
  pinger.done.get_future().wait();
}

void TripOverTcp(rows::Series& series, const std::string& options = " n M0") {
  vektest::Process peer(vektest::Self(), {"tcp", "0", "0", "0"});
  Pinger pinger(series);
  const auto mes =
      Dova::TMesRegs::GetClientMesRegs().CreateMes("TCPClient:127.0.0.1:" + peer.ReadLine() + options);
  Open(*mes, pinger);
  pinger.done.get_future().wait();
  Close(*mes);
}

// The client's side of the rings without a client: only the two indices, the copies and the events. With
// `spinUs` it never sleeps.
void TripOverBareRings(rows::Series& series, int spinUs = 0, int lateUs = 0) {
  const Peer peer({"echo", 1 << 16, spinUs, lateUs});
  Dova::TShMemChannel up, down;
  if (!up.Open(peer.name + ".C2S") || !down.Open(peer.name + ".S2C")) std::exit(4);
  Dova::Os::TNamedEventWait wait;
  char bytes[kTripBytes] = {};
  for (Batches batches(series); !batches.Done(); batches.End()) {
    batches.Begin();
    up.Write(bytes, kTripBytes);
    while (down.Read(bytes, kTripBytes) == 0) {
      if (spinUs == 0) wait.Wait(down.ReadEvent(), up.WriteEvent(), -1, true);
    }
  }
}

// ---- streaming ----

constexpr std::uint32_t kStreamRing = 1 << 20;
constexpr std::uint64_t kWithinTheRing = 1 << 20;
constexpr std::uint64_t kBeyondTheRing = 4 << 20;  // the rest is queued

double GbPerSecond(Clock::duration took) {
  return static_cast<double>(kStreamBytes) / std::chrono::duration<double>(took).count() / 1e9;
}

// The reference for a byte's path into and out of the ring: the same messages, copied into a buffer of the
// ring's size, wrapping around, and out of it by one thread.
double CopyRate() {
  std::vector<char> ring(kStreamRing), from(kMessageBytes, 'x'), to(kMessageBytes);
  const auto start = Clock::now();
  for (std::size_t i = 0; i < kMessages; ++i) {
    char* const at = ring.data() + i * kMessageBytes % ring.size();
    std::memcpy(at, from.data(), kMessageBytes);
    std::memcpy(to.data(), at, kMessageBytes);
    std::atomic_signal_fence(std::memory_order_seq_cst);
  }
  return GbPerSecond(Clock::now() - start);
}

// Sends inside its events: at first, and whenever the sink reports progress, as much as stays within
// `aheadBytes` of it.
class Pourer : public Dova::TMesEvHandler {
 public:
  explicit Pourer(std::uint64_t aheadBytes) : aheadBytes_(aheadBytes) {}
  std::promise<Clock::time_point> done;

  void OnMesLinkReady(Dova::TMesBase* mes) override {
    start_ = Clock::now();
    Pour(*mes);
  }
  void OnMesRecvReady(Dova::TMesBase* mes) override {
    char buffer[256];
    for (int count = 0; (count = mes->Recv(buffer, sizeof buffer)) > 0;) {
      arrived_ += shmempeer::kCreditBytes * static_cast<std::uint64_t>(count);
      Pour(*mes);
      if (arrived_ == kStreamBytes) done.set_value(start_);
    }
  }

 private:
  void Pour(Dova::TMesBase& mes) {
    for (; sent_ < kStreamBytes && sent_ + kMessageBytes <= arrived_ + aheadBytes_; sent_ += kMessageBytes) {
      if (mes.Send(message_.data(), kMessageBytes) != kMessageBytes) std::exit(2);
    }
  }

  const std::uint64_t aheadBytes_;
  const std::vector<char> message_ = std::vector<char>(kMessageBytes, 'x');
  std::uint64_t sent_ = 0;
  std::uint64_t arrived_ = 0;
  Clock::time_point start_;
};

double StreamToGateway(std::uint64_t aheadBytes) {
  Pourer pourer(aheadBytes);
  const LinkedRings link(pourer, {"sink", kStreamRing});
  const auto start = pourer.done.get_future().get();
  return GbPerSecond(Clock::now() - start);
}

class Sink : public Dova::TMesEvHandler {
 public:
  std::promise<void> done;
  void OnMesRecvReady(Dova::TMesBase* mes) override {
    for (int count = 0; (count = mes->Recv(buffer_.data(), static_cast<int>(buffer_.size()))) > 0;) {
      have_ += static_cast<std::uint64_t>(count);
      if (have_ == kStreamBytes) done.set_value();
    }
  }

 private:
  std::uint64_t have_ = 0;
  std::vector<char> buffer_ = std::vector<char>(65536);
};

double StreamFromGateway() {
  Sink sink;
  const LinkedRings link(sink, {"source", kStreamRing});
  const auto start = Clock::now();
  if (link.mes->Send("+", 1) != 1) std::exit(2);
  sink.done.get_future().wait();
  return GbPerSecond(Clock::now() - start);
}

// A peer makes as many trips and slices.
rows::Way Peered(const TripsPeer& peer) {
  return {peer.who, [make = peer.make](rows::Series& series) {
            const auto trips = make();
            rows::Series warm("", "", "");
            trips->Run(static_cast<int>(kBatch), warm);
            for (std::size_t i = 0; i < kBatches; ++i) {
              series.Begin();
              trips->Run(static_cast<int>(kBatch), series);
              series.End();
            }
          }};
}

void Spinning() {
  std::vector<rows::Way> ways{{"ours", [](rows::Series& series) { TripOverRings(series, kSpinUs); }},
                              {"bare", [](rows::Series& series) { TripOverBareRings(series, kSpinUs); }}};
  for (const TripsPeer& peer : TripsPeers()) ways.push_back(Peered(peer));
  rows::ByTurns("round trip, shared memory, polling", "us", 5, ways);
  rows::ByTurns("round trip, shared memory, 20 us late", "us", 5,
                {{"ours", [](rows::Series& series) { TripOverRings(series, kSpinUs, kLateUs); }},
                 {"bare", [](rows::Series& series) { TripOverBareRings(series, kSpinUs, kLateUs); }}});
}

void OverTcp() {
  rows::ByTurns("round trip, spin=", "us", 5,
                {{"ours", [](rows::Series& series) { TripOverTcp(series, " n M0 spin=200"); }},
                 {"sleeping", [](rows::Series& series) { TripOverTcp(series); }}});
}

void Sleeping() {
  rows::ByTurns("round trip, shared memory", "us", 5,
                {{"ours", [](rows::Series& series) { TripOverRings(series); }},
                 {"bare", [](rows::Series& series) { TripOverBareRings(series); }},
                 {"TCP", [](rows::Series& series) { TripOverTcp(series); }}});
}

// Gigabytes a second.
void Streaming() {
  std::printf("streaming of %zu messages of %zu bytes through rings of 1 MiB\n", kMessages, kMessageBytes);
  for (int round = 0; round < 3; ++round) {
    const double copy = CopyRate(), up = StreamToGateway(kWithinTheRing), down = StreamFromGateway();
    const double queued = StreamToGateway(kBeyondTheRing);
    std::printf(
        "memcpy in and out %5.2f GB/s   to the gateway %5.2f GB/s (%.2f, limit 0.50)   from it %5.2f GB/s "
        "(%.2f, limit 0.50)   "
        "to it through the queue %5.2f GB/s (%.2f)\n",
        copy, up, up / copy, down, down / copy, queued, queued / copy);
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 5) {
    shmempeer::Run(
        {argv[1], static_cast<std::uint32_t>(std::atoi(argv[2])), std::atoi(argv[3]), std::atoi(argv[4])});
  }
  vektest::TestMes::Register();
  SpinningMes::Register();
  const TestSupport::TVirtualTimerQueue noHeartbeats;
  const std::string work = argc == 2 ? argv[1] : "";
  if (work == "spin") {
    Spinning();
  } else if (work == "tcp") {
    OverTcp();
  } else if (work == "stream") {
    Streaming();
  } else {
    Sleeping();
  }
}
