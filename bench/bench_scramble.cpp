// Scrambling whole packets compared with memcpy of the same bytes, all in the L1 cache.
#include <benchmark/benchmark.h>

#include <cstring>
#include <string>

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

}  // namespace

BENCHMARK_MAIN();
