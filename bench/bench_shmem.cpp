// The shared-memory transport beside what it competes with: round trips of 128 bytes through the client's
// messenger over shared memory and over TCP, and through a bare ring between two processes' worth of threads
// with the same wake-up; streaming of 4 KiB messages beside copying them. No peer polls: who has nothing to
// do sleeps.
#include <algorithm>
#include <asio.hpp>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "platform/mbus/TMesRegs.h"
#include "shmem/TShMemCli.h"
#include "sim/SimRings.h"
#include "support/TestMes.h"

namespace {

using asio::ip::tcp;
using Clock = std::chrono::steady_clock;

constexpr int kTripBytes = 128;
constexpr std::size_t kBatch = 2000;
constexpr std::size_t kBatches = 21;

double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

// Sends the next message inside the event of the one before.
class Pinger : public Dova::TMesEvHandler {
 public:
  std::promise<void> done;
  std::vector<double> perTripUs;

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
    if (++trips_ % kBatch == 0) {
      const auto now = Clock::now();
      if (trips_ > kBatch) {
        perTripUs.push_back(std::chrono::duration<double, std::micro>(now - start_).count() / kBatch);
      }
      start_ = now;
    }
    if (perTripUs.size() < kBatches) return Ping(mes);
    done.set_value();
  }
  static void Ping(Dova::TMesBase& mes) {
    const char bytes[kTripBytes] = {};
    if (mes.Send(bytes, kTripBytes) != kTripBytes) std::exit(2);
  }

  int have_ = 0;
  std::size_t trips_ = 0;
  Clock::time_point start_;
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

std::string FreshName() {
  static int count = 0;
  return "vekbench-" + std::to_string(Clock::now().time_since_epoch().count()) + "-" +
         std::to_string(++count);
}

void EchoOverRings(VekSim::SimRings& rings) {
  char buffer[4096];
  while (rings.Wait(-1, false) != 0) {
    for (int count = 0; (count = rings.Read(buffer, sizeof buffer)) > 0;) {
      rings.Write(buffer, static_cast<std::size_t>(count));
    }
  }
}

// A linked messenger over rings that the bench holds the other end of.
class LinkedRings {
 public:
  LinkedRings(Dova::TMesEvHandler& handler, std::uint32_t bytes) : mes(Dova::TShMemCli::Make()) {
    const std::string name = FreshName();
    if (!rings.Create(name, bytes) || !mes->SettingApply("TestMes:ok")) std::exit(4);
    Open(*mes, handler);
    const auto proxy = vektest::TestMes::Last();
    proxy->Ready();
    proxy->Deliver("Ack:ShMemName:" + name + "\n");
  }
  ~LinkedRings() { Close(*mes); }
  VekSim::SimRings rings;
  Dstl::wise_ref<Dova::TMesBase> mes;
};

double TripOverRings() {
  Pinger pinger;
  LinkedRings link(pinger, 1 << 16);
  std::thread gateway([&] { EchoOverRings(link.rings); });
  pinger.done.get_future().wait();
  link.rings.Stop();
  gateway.join();
  return Median(pinger.perTripUs);
}

double TripOverTcp() {
  asio::io_context io;
  tcp::acceptor acceptor(io, tcp::endpoint(asio::ip::address_v4::loopback(), 0));
  std::thread server([&] {
    tcp::socket socket = acceptor.accept();
    socket.set_option(tcp::no_delay(true));
    char buffer[4096];
    asio::error_code ended;
    while (const std::size_t count = socket.read_some(asio::buffer(buffer), ended)) {
      asio::write(socket, asio::buffer(buffer, count), ended);
    }
  });
  Pinger pinger;
  const auto mes = Dova::TMesRegs::GetClientMesRegs().CreateMes(
      "TCPClient:127.0.0.1:" + std::to_string(acceptor.local_endpoint().port()) + " n M0");
  Open(*mes, pinger);
  pinger.done.get_future().wait();
  Close(*mes);
  server.join();
  return Median(pinger.perTripUs);
}

// The client's side of the rings without a client: the two indices, the copies and the events.
double TripOverBareRings() {
  VekSim::SimRings rings;
  const std::string name = FreshName();
  if (!rings.Create(name, 1 << 16)) std::exit(4);
  Dova::TShMemChannel up, down;
  if (!up.Open(name + ".C2S") || !down.Open(name + ".S2C")) std::exit(4);
  std::thread gateway([&] { EchoOverRings(rings); });
  std::vector<double> perTripUs;
  Dova::Os::TNamedEventWait wait;
  char bytes[kTripBytes] = {};
  while (perTripUs.size() < kBatches) {
    const auto start = Clock::now();
    for (std::size_t i = 0; i < kBatch; ++i) {
      up.Write(bytes, kTripBytes);
      while (down.Read(bytes, kTripBytes) == 0) wait.Wait(down.ReadEvent(), up.WriteEvent(), -1, true);
    }
    perTripUs.push_back(std::chrono::duration<double, std::micro>(Clock::now() - start).count() / kBatch);
  }
  rings.Stop();
  gateway.join();
  return Median(perTripUs);
}

// ---- streaming ----

constexpr std::size_t kMessage = 4096;
constexpr std::size_t kMessages = 400'000;
constexpr std::uint64_t kWithinTheRing = 768 << 10;
constexpr std::uint64_t kBeyondTheRing = 4 << 20;  // the rest goes through the queue

double GbPerSecond(Clock::duration took) {
  return static_cast<double>(kMessage * kMessages) / std::chrono::duration<double>(took).count() / 1e9;
}

// A byte's whole way: into the ring, and out of it. So is the copy beside it: there and back.
double CopyRate() {
  std::vector<char> ring(1 << 20), from(kMessage, 'x'), to(kMessage);
  const auto start = Clock::now();
  for (std::size_t i = 0; i < kMessages; ++i) {
    char* const at = ring.data() + i * kMessage % ring.size();
    std::memcpy(at, from.data(), kMessage);
    std::memcpy(to.data(), at, kMessage);
    std::atomic_signal_fence(std::memory_order_seq_cst);
  }
  return GbPerSecond(Clock::now() - start);
}

double StreamToGateway(std::uint64_t aheadBytes) {
  Dova::TMesEvHandler nobody;
  LinkedRings link(nobody, 1 << 20);
  std::atomic<std::uint64_t> arrived{0};
  std::thread gateway([&] {
    std::vector<char> buffer(65536);
    while (arrived < kMessage * kMessages) {
      const int count = link.rings.Read(buffer.data(), buffer.size());
      if (count == 0) link.rings.Wait();
      arrived += static_cast<std::uint64_t>(count);
      arrived.notify_one();
    }
  });
  const std::vector<char> message(kMessage, 'x');
  const auto start = Clock::now();
  for (std::uint64_t i = 0; i < kMessages; ++i) {
    link.mes->Send(message.data(), kMessage);
    for (std::uint64_t seen = arrived; seen + aheadBytes < i * kMessage; seen = arrived) arrived.wait(seen);
  }
  gateway.join();
  return GbPerSecond(Clock::now() - start);
}

class Sink : public Dova::TMesEvHandler {
 public:
  std::promise<void> done;
  void OnMesRecvReady(Dova::TMesBase* mes) override {
    for (int count = 0; (count = mes->Recv(buffer_.data(), static_cast<int>(buffer_.size()))) > 0;) {
      have_ += static_cast<std::uint64_t>(count);
      if (have_ == kMessage * kMessages) done.set_value();
    }
  }

 private:
  std::uint64_t have_ = 0;
  std::vector<char> buffer_ = std::vector<char>(65536);
};

double StreamFromGateway() {
  Sink sink;
  LinkedRings link(sink, 1 << 20);
  const std::vector<char> message(kMessage, 'x');
  const auto start = Clock::now();
  std::thread gateway([&] {
    for (std::size_t i = 0; i < kMessages; ++i) {
      for (std::size_t at = 0; at < kMessage;) {
        const int count = link.rings.Write(message.data() + at, kMessage - at);
        if (count == 0) link.rings.Wait();
        at += static_cast<std::size_t>(count);
      }
    }
  });
  sink.done.get_future().wait();
  const auto took = Clock::now() - start;
  gateway.join();
  return GbPerSecond(took);
}

}  // namespace

int main() {
  vektest::TestMes::Register();
  std::printf("round trip of %d bytes, median of %zu batches of %zu\n", kTripBytes, kBatches, kBatch);
  for (int round = 0; round < 3; ++round) {
    const double bare = TripOverBareRings();
    const double rings = TripOverRings();
    const double overTcp = TripOverTcp();
    std::printf(
        "bare rings %6.2f us   client over rings %6.2f us   client over TCP %6.2f us   rings/TCP %.2f (limit "
        "0.50)"
        "   client/bare %.2f\n",
        bare, rings, overTcp, rings / overTcp, rings / bare);
  }
  std::printf("streaming of %zu messages of %zu bytes through rings of 1 MiB\n", kMessages, kMessage);
  for (int round = 0; round < 3; ++round) {
    const double copy = CopyRate(), up = StreamToGateway(kWithinTheRing), down = StreamFromGateway();
    const double queued = StreamToGateway(kBeyondTheRing);
    std::printf(
        "memcpy in and out %5.2f GB/s   to the gateway %5.2f GB/s (%.2f, limit 0.50)   from it %5.2f GB/s "
        "(%.2f, limit 0.50)   "
        "to it through the queue %5.2f GB/s (%.2f)\n",
        copy, up, up / copy, down, down / copy, queued, queued / copy);
  }
  return 0;
}
