// A session over rings, and a gateway in a separate process.
#pragma once

#include "ShMemFixture.h"
#include "sim/SimServer.h"
#include "support/Held.h"
#include "support/Recorder.h"
#include "support/SimSession.h"

namespace vektest {

using TestSupport::Held;
using TestSupport::SettlesTo;

// `more` are additional options of the program.
inline std::vector<std::string> GateOptions(const VekSim::SimServer& server,
                                            const std::vector<std::string>& more = {}) {
  std::vector<std::string> options{"--quiet",       "--until-eof", "--port",    "0",      "--upstream",
                                   Setting(server), "--name",      FreshName(), "--ring", "4096"};
  options.insert(options.end(), more.begin(), more.end());
  return options;
}

// Whatever happened to the gateway, its names have been removed and none of its memory is mapped.
inline void ExpectNothingShared() {
  const auto held = Held();
  EXPECT_EQ(held.count("shared memory"), 0u) << "the one that is left takes the names away";
  EXPECT_EQ(held.count("views"), 0u);
}

}  // namespace vektest
