// Batches of requests from a client: orders, queries, and "move", by which the test lets the price come.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "sim/SimMarket.h"
#include "sim/SimRequests.h"

namespace {

using namespace VekSim;

std::string Argument(const SimRequest& request, const char* name) {
  const auto found = request.args.find(name);
  return found == request.args.end() ? std::string() : found->second;
}

int Number(const SimRequest& request, const char* name) {
  return static_cast<int>(
      std::clamp(std::strtol(Argument(request, name).c_str(), nullptr, 10), -1'000'000'000L, 1'000'000'000L));
}

void Do(SimMarket& market, const SimRequest& request) {
  const SimLogin login{"trader", {"9800001", "9800002"}};
  if (SimMarket::IsTrade(request.verb)) {
    market.Trade(login, request, Argument(request, "hold") == "1");
  } else if (request.verb != "move") {
    if (Number(request, "rows") < 1000) market.Query(login, request);
  } else if (SimMarket::Find(Argument(request, "prod")) != nullptr) {
    market.Move(Argument(request, "prod"), Number(request, "to"),
                std::max(Number(request, "lots"), SimMarket::kUnlimited));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  SimMarket market;
  // What one change writes, another run must be able to read.
  SimMarket copy;
  market.changed = [&](const SimChange& change) {
    const auto read = ReadChange(LineOf(change));
    if (!read || !copy.Restore(*read)) std::abort();
  };
  for (const SimRequest& request : ParseBatch({reinterpret_cast<const char*>(data), size})) {
    // Bytes that a file's line cannot hold: the server takes such work ids, but not with a file.
    if (request.workId.find_first_of(std::string_view(" \n\r\0", 4)) != std::string::npos) continue;
    Do(market, request);
  }
  return 0;
}
