// A session over rings, and a gateway in a separate process.
#pragma once

#include "ShMemFixture.h"
#include "sim/SimServer.h"
#include "support/Recorder.h"

namespace vektest {

inline void Connect(VekApi::VekClient& client, const std::string& setting) {
  client.Connect(setting, "Rings", "1.2.3.4", "trader", "9800001", "secret");
}

inline bool Send(VekApi::VekClient& client, int code, const std::string& text) {
  std::string request = "....." + text;
  return client.SendVekRequest(code, request.data(), static_cast<unsigned>(request.size()));
}

// `more` are additional options of the program.
inline std::vector<std::string> GateOptions(const VekSim::SimServer& server,
                                            const std::vector<std::string>& more = {}) {
  std::vector<std::string> options{
      "--quiet", "--until-eof", "--port", "0",   "--upstream", "127.0.0.1:" + std::to_string(server.Port()),
      "--name",  FreshName(),   "--ring", "4096"};
  options.insert(options.end(), more.begin(), more.end());
  return options;
}

// Whatever happened to the gateway, its names are gone and nothing of it is mapped.
inline void ExpectNothingShared() {
  const auto held = Held();
  EXPECT_EQ(held.count("shared memory"), 0u) << "the one that is left takes the names away";
  EXPECT_EQ(held.count("views"), 0u);
}

}  // namespace vektest
