#include "faults/posix/Servers.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "faults/posix/Faults.h"
#include "shmem/Process.h"

namespace Faults {
namespace {

TSettings settings;

class TServers : public testing::Environment {
  void SetUp() override {
    const std::string name = vektest::FreshName(), file = testing::TempDir() + name;
    server_.emplace("veksim",
                    std::vector<std::string>{"--quiet", "--crash-at-eof", "--port-file", file, "--rate",
                                             "1000/1000", "--mode", "1", "--key", "0123456789"});
    std::string port;
    while (!std::getline(std::ifstream(file), port)) std::this_thread::yield();
    std::remove(file.c_str());
    gateway_.emplace("vekgate",
                     std::vector<std::string>{"--quiet", "--until-eof", "--port", "0", "--ring", "65536",
                                              "--upstream", "127.0.0.1:" + port, "--name", name});
    settings = {"localhost:" + port, gateway_->ReadLine()};
  }
  void TearDown() override {
    gateway_.reset();
    server_.reset();
  }

  std::optional<vektest::Process> server_, gateway_;
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
