// Scrambling whole packets compared with memcpy of the same bytes, all in the L1 cache. With the argument
// "rows" only what scripts/bench.py shows.
#include <benchmark/benchmark.h>

#include <cstring>
#include <string>

#include "Rows.h"
#include "platform/transport/TMesRegs.h"
#include "support/Recorder.h"
#include "support/TestMes.h"
#include "support/Wire.h"

namespace {

constexpr int kPacketBytes = 4095;

void Memcpy(benchmark::State& state) {
  const std::string from(kPacketBytes, 'x');
  std::string to(kPacketBytes, '\0');
  for (auto _ : state) {
    std::memcpy(to.data(), from.data(), kPacketBytes);
    benchmark::DoNotOptimize(to.data());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * kPacketBytes);
}
BENCHMARK(Memcpy);

// Through the public call, in a session with a key.
void EncPacket(benchmark::State& state) {
  vektest::Recorder recorder;
  VekApi::VekClient client(recorder);
  client.Connect(":TestMes:ok", "bench", "1", "", "", "");
  const std::string key(static_cast<std::size_t>(state.range(0)), 'k');
  vektest::TestMes::Last()->Ready();
  vektest::TestMes::Last()->Deliver(vektest::ConnectResult(false, {{"VekEnc\n", vektest::EncItem(1, key)}}));
  std::string packet(kPacketBytes, 'x');
  for (auto _ : state) {
    client.EncPacket(packet.data(), kPacketBytes);
    benchmark::DoNotOptimize(packet.data());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * kPacketBytes);
}
BENCHMARK(EncPacket)->Arg(1)->Arg(16)->Arg(32)->Arg(255);

void Rows() {
  vektest::Recorder recorder;
  VekApi::VekClient client(recorder);
  client.Connect(":TestMes:ok", "bench", "1", "", "", "");
  vektest::TestMes::Last()->Ready();
  vektest::TestMes::Last()->Deliver(
      vektest::ConnectResult(false, {{"VekEnc\n", vektest::EncItem(1, std::string(16, 'k'))}}));
  std::string packet(kPacketBytes, 'x'), to = packet;
  rows::ByTurns("scramble 4 KB", "ns", 500,
                {rows::Repeated("ours", 200, [&] { client.EncPacket(packet.data(), kPacketBytes); }),
                 rows::Repeated("memcpy", 200, [&] {
                   std::memcpy(to.data(), packet.data(), kPacketBytes);
                   benchmark::DoNotOptimize(to.data());
                   benchmark::ClobberMemory();
                 })});
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 2 && std::string(argv[1]) == "rows") return Rows(), 0;
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
}
