// On a link that accepts everything at once and does nothing: a request through SendVekRequest beside an
// uncontended lock, one through a session beside one through SendVekRequest; and the cost of a held request
// beyond that of the memory it takes, by the number held.
#include <algorithm>
#include <atomic>
#include <bit>
#include <cstring>
#include <ctime>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "Allocations.h"
#include "Rows.h"
#include "keeper/TRequest.h"
#include "platform/transport/TMesRegs.h"
#include "support/TVirtualTimerQueue.h"
#include "support/Wire.h"
#include "vekapi/VekClient.h"
#include "vekapi/VekSessionC.h"

namespace {

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
constexpr int kBatches = 10;
constexpr int kRounds = 1000;
constexpr char kText[] = "W000000001 new\nprod=TXF side=B qty=1 price=18000 tif=ROD account=9800001 oc=auto";

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

// By turns, in short slices.
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
  std::string buffer;
  std::mutex mutex;
  const auto lock = [&] {
    mutex.lock();
    std::atomic_signal_fence(std::memory_order_seq_cst);
    mutex.unlock();
  };
  const auto plain = [&] {
    buffer.assign("12345").append(kText);
    client.SendVekRequest(129, buffer.data(), static_cast<unsigned>(buffer.size()));
  };
  const auto warm = static_cast<std::size_t>(rows::Slices(kRounds)) / 2;
  std::size_t rounds = 0, allocated = 0;
  // A batch, then its acknowledgements, which are not measured; several of them, because the first finds what
  // others have left in the caches.
  const auto submitAll = [&](rows::Series& series) {
    const std::size_t before = Allocations();
    double took = 0;
    for (int batch = 0; batch < kBatches; ++batch) {
      const double start = rows::ThreadNs();
      for (int i = 0; i < kBatch; ++i) CVekSession_Submit(&session, &request, nullptr);
      took += rows::ThreadNs() - start;
      NullMes::last->Deliver(acks);
    }
    // The first half fills what is kept.
    if (++rounds > warm) allocated += Allocations() - before;
    series.EndIn(0, took / kBatches / kBatch);
  };
  rows::ByTurns("send without a socket", "ns", kRounds,
                {rows::Repeated("ours", kBatch, plain), rows::Repeated("lock", kBatch, lock)});
  rows::ByTurns("request in a session", "ns", kRounds,
                {{"ours", submitAll}, rows::Repeated("plain", kBatch * kBatches, plain)});
  rows::Counted("request in a session: allocations", "ours", "each",
                static_cast<double>(allocated) / (static_cast<double>(rounds - warm) * kBatch * kBatches));
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

// What a held request costs beyond its memory, over as many sessions as touch a fixed number of requests.
rows::Way HeldAtOnce(const char* who, int count) {
  return {who, [count](rows::Series& series) {
            double held = 1e9, memory = 1e9;
            for (int left = 100'000 / count; left > 0; --left) {
              held = std::min(held, Held(count));
              memory = std::min(memory, Touched(count));
            }
            series.End(held - memory, static_cast<std::size_t>(count));
          }};
}

}  // namespace

int main() {
  Dova::TMesRegs::GetClientMesRegs().Register("NullMes",
                                              [] { return Dstl::wise_ref<Dova::TMesBase>(new NullMes); });
  CompareWays();
  rows::ByTurns("held request, 100,000 held", "ns", 12,
                {HeldAtOnce("ours", 100'000), HeldAtOnce("1,000 held", 1000)});
}
