// Arbitrary bytes for everything the simulated server reads: scripts, requests of the page, recordings, and
// files of orders. The first byte chooses.
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string_view>

#include "sim/SimDay.h"
#include "sim/SimHttp.h"
#include "sim/SimMarket.h"
#include "sim/SimReplay.h"

namespace {

using namespace VekSim;

void Restore(std::string_view text) {
  SimMarket market;
  while (!text.empty()) {
    const std::size_t end = text.find('\n');
    if (const auto change = ReadChange(text.substr(0, end))) market.Restore(*change);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::string_view bytes(reinterpret_cast<const char*>(data) + 1, size - 1);
  try {
    if (data[0] % 4 == 0) ReadDay(bytes, "day.json");
    if (data[0] % 4 == 1) HttpReader().Feed(bytes);
    if (data[0] % 4 == 2) ReadRecording(bytes, "day");
    if (data[0] % 4 == 3) Restore(bytes);
  } catch (const std::runtime_error&) {
  }
  return 0;
}
