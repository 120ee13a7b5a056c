#include "faults/posix/Servers.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <stdexcept>

#include "faults/posix/Faults.h"
#include "sim/SimGateway.h"
#include "sim/SimServer.h"

namespace Faults {
namespace {

TSettings settings;

// Runs until the parent program's end of the pipe closes, however that program ends.
[[noreturn]] void Serve(int output, int input) {
  VekSim::SimConfig config;
  config.keepPackets = false;
  config.queryRate = {1000, 1000, 0};
  config.mode = 1;
  config.key = "0123456789";
  VekSim::SimServer server(config);
  VekSim::SimGatewayConfig gate;
  gate.upstreamPort = server.Port();
  gate.ringBytes = 65536;
  gate.namePrefix = "vekfaults-" + std::to_string(getppid());
  VekSim::SimGateway gateway(gate);
  const std::string text = "localhost:" + std::to_string(server.Port()) + "\n" + gateway.Setting() + "\n";
  if (write(output, text.data(), text.size()) < 0) _exit(1);
  char dropped = 0;
  while (read(input, &dropped, 1) > 0) continue;
  _exit(0);
}

std::string Line(std::FILE* from) {
  char text[256] = {};
  if (std::fgets(text, sizeof text, from) == nullptr) throw std::runtime_error("no server");
  std::string line = text;
  line.pop_back();
  return line;
}

class TServers : public testing::Environment {
  void SetUp() override {
    int answers[2], orders[2];
    if (pipe(answers) != 0 || pipe(orders) != 0) throw std::runtime_error("no pipe");
    if (fork() == 0) {
      close(orders[1]);
      Serve(answers[1], orders[0]);
    }
    close(answers[1]);
    close(orders[0]);
    std::FILE* const from = fdopen(answers[0], "r");
    settings.tcp = Line(from);
    settings.sharedMemory = Line(from);
    std::fclose(from);
  }
};

// The test's thread counts as the test, and so does everything created before main.
const TInTest inTest;
[[maybe_unused]] const testing::Environment* const registered =
    testing::AddGlobalTestEnvironment(new TServers);

}  // namespace

const TSettings& Settings() {
  return settings;
}

}  // namespace Faults
