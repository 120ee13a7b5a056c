// Feeds arbitrary server bytes in arbitrary blocks. First byte: how the input is split; second byte: which
// handshake precedes it, and how the messenger delivers it.
#include <cstddef>
#include <cstdint>
#include <string>

#include "result/packets.h"
#include "support/Recorder.h"
#include "support/TestMes.h"
#include "support/Wire.h"
#include "vekapi/VekClient.h"

namespace {

// Reads everything an application could read.
class Reader : public vektest::Recorder {
  void OnVekApReadyEvent(VekApi::VekClient& client) override {
    OnVekTaskResultEvent(client, client.SgnResult());
  }
  void OnVekTaskResultEvent(VekApi::VekClient& client, const VekApi::VekTaskResult& result) override {
    results::Describe(result);
    Recorder::OnVekTaskResultEvent(client, result);
  }
};

std::string Handshake(unsigned which) {
  const bool big = (which & 1) != 0;
  if ((which & 2) != 0) return {};
  const std::string key = (which & 4) != 0 ? "key" : "";
  return vektest::ConnectResult(big, {{"VekEnc\n", vektest::EncItem(1, key)}});
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) return 0;
  const std::size_t block = data[0] == 0 ? size + 64 : data[0];
  static auto& reader = *new Reader;
  // Keeps the library's threads from being started and stopped for every input.
  static auto& anchor = *new VekApi::VekClient(reader);
  anchor.State();
  VekApi::VekClient client(reader);
  client.Connect((data[1] & 8) != 0 ? ":TestMes:lend" : ":TestMes:ok", "fuzz", "1", "id", "", "pass");
  vektest::TestMes::Last()->Ready();
  std::string stream = Handshake(data[1]);
  stream.append(reinterpret_cast<const char*>(data) + 2, size - 2);
  for (std::size_t at = 0; at < stream.size(); at += block) {
    const auto mes = vektest::TestMes::Last();
    if (!mes) break;
    mes->Deliver(stream.substr(at, block));
  }
  reader.Take();
  return 0;
}
