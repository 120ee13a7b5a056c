// The simulated server as a program.
#include <fmt/core.h>

#include <asio.hpp>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <stdexcept>
#include <thread>

#include "sim/SimGateway.h"
#include "sim/SimReplay.h"
#include "sim/SimServer.h"
#include "sim/VeksimOptions.h"

namespace VekSim {

namespace {

/// Written under another name first, so that a waiting process never finds a partial file.
bool WritePort(const std::string& path, std::uint16_t port) {
  std::error_code none;
  if (std::filesystem::is_directory(path, none)) {
    fmt::print(stderr, "veksim: cannot write {}: it is a directory\n", path);
    return false;
  }
  const std::string part = path + ".part";
  std::FILE* const file = std::fopen(part.c_str(), "wb");
  bool good = file != nullptr;
  if (good) {
    good = std::fprintf(file, "%u\n", static_cast<unsigned>(port)) > 0;
    good = std::fclose(file) == 0 && good;
    std::remove(path.c_str());  // not every system replaces a file by rename
    good = good && std::rename(part.c_str(), path.c_str()) == 0;
  }
  if (!good) fmt::print(stderr, "veksim: cannot write {}: {}\n", path, std::strerror(errno));
  return good;
}

/// Its contents survive a kill of this process.
class LedgerFile {
 public:
  explicit LedgerFile(const std::string& path) : path_(path), file_(std::fopen(path.c_str(), "ab")) {
    if (file_ == nullptr) CannotWrite();
  }
  ~LedgerFile() { std::fclose(file_); }
  LedgerFile(const LedgerFile&) = delete;
  LedgerFile& operator=(const LedgerFile&) = delete;
  void Add(const std::string& line) {
    if (std::fputs((line + '\n').c_str(), file_) < 0 || std::fflush(file_) != 0) CannotWrite();
  }

 private:
  [[noreturn]] void CannotWrite() const {
    throw std::runtime_error("cannot write " + path_ + ": " + std::strerror(errno));
  }

  const std::string path_;
  std::FILE* const file_;
};

/// Sends the reports due since the last call.
class ReportStream {
 public:
  explicit ReportStream(int perSecond) : perSecond_(perSecond) {}

  void Send(SimServer& server) {
    const auto passed = std::chrono::steady_clock::now() - began_;
    const auto due =
        perSecond_ * std::chrono::duration_cast<std::chrono::milliseconds>(passed).count() / 1000;
    for (; sent_ < due; ++sent_)
      server.SendReport(SimServer::kAll, fmt::format("r{} filled prod=TXF", sent_));
  }

 private:
  const int perSecond_;
  const std::chrono::steady_clock::time_point began_ = std::chrono::steady_clock::now();
  std::int64_t sent_ = 0;
};

/// Until the program is interrupted, or `over`, which is polled periodically.
template <class Over>
void AwaitInterrupt(int periodMs, const Over& over) {
  asio::io_context signals;
  asio::signal_set set(signals, SIGINT, SIGTERM);
  bool ended = false;
  set.async_wait([&](const asio::error_code&, int) { ended = true; });
  while (!ended && !over()) signals.run_for(std::chrono::milliseconds(periodMs));
}

void WaitForEnd(SimServer& server, const VeksimOptions& options) {
  ReportStream reports(options.reportsPerSecond);
  AwaitInterrupt(options.reportsPerSecond != 0 ? 5 : 100, [&] {
    reports.Send(server);
    const auto over = [&](const SimSeen& seen) {
      return !seen.failure.empty() || (options.once && seen.closed > 0);
    };
    return server.WaitFor(over, std::chrono::milliseconds(0));
  });
}

void StartGateway(std::optional<SimGateway>& gateway, const SimServer& server, const VeksimOptions& options) {
  SimGatewayConfig config;
  config.host = config.upstreamHost = options.config.host;
  config.upstreamPort = server.Port();
  gateway.emplace(std::move(config));
  SimNote note;
  note.what = "listening";
  note.detail = "shared memory through " + gateway->Setting();
  if (options.config.log) options.config.log(note);
}

std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (in) in.peek();  // a directory can be opened, but not read
  if (in.bad() || !in.is_open())
    throw std::runtime_error("cannot read " + path + ": " + std::strerror(errno));
  return {std::istreambuf_iterator<char>(in), {}};
}

/// The day, and the log, which uses its times.
void Prepare(VeksimOptions& options) {
  SimConfig& config = options.config;
  config.keepPackets = false;
  if (!options.scriptFile.empty()) config.day = ReadDay(ReadFile(options.scriptFile), options.scriptFile);
  if (options.seed) config.day.seed = *options.seed;
  if (options.quiet) return;
  config.log = [json = options.logForm == "json", start = config.day.start](const SimNote& note) {
    fmt::print("{}\n", json ? JsonOf(note, start) : TextOf(note, start));
    std::fflush(stdout);
  };
}

int Replay(const VeksimOptions& options) {
  SimRecording recording = ReadRecording(ReadFile(options.replayFile), options.replayFile);
  if (recording.cut) fmt::print(stderr, "veksim: {} ends within a record\n", options.replayFile);
  const SimConfig& config = options.config;
  SimReplay replay(std::move(recording), {config.host, config.port, options.replayFast, config.log});
  if (config.log) {
    config.log({{},
                0,
                "listening",
                {},
                {},
                {},
                0,
                {},
                fmt::format("on TCPClient:{}:{}", config.host, replay.Port())});
  }
  if (!options.portFile.empty() && !WritePort(options.portFile, replay.Port())) return 1;
  AwaitInterrupt(100, [&] { return replay.Over(); });
  return 0;
}

/// On a thread of its own, which reads the standard input as long as the program runs.
void CrashAtEof() {
  std::thread([] {
    while (std::getchar() != EOF) continue;
    std::_Exit(9);
  }).detach();
}

int Run(VeksimOptions& options) {
  Prepare(options);
  if (options.crashAtEof) CrashAtEof();
  if (!options.replayFile.empty()) return Replay(options);
  std::optional<LedgerFile> ledger;
  if (!options.ledgerFile.empty()) {
    ledger.emplace(options.ledgerFile);
    options.config.ledger = [&ledger](const std::string& line) { ledger->Add(line); };
  }
  SimServer server(options.config);
  for (const Fault& fault : options.faults) server.Faults().Push(fault);
  if (options.config.log)
    options.config.log({{}, 0, "listening", {}, {}, {}, 0, {}, "on " + server.Setting()});
  if (!server.PageUrl().empty()) {
    fmt::print(stderr, "veksim: the page is at {}\n", server.PageUrl());
  }
  std::optional<SimGateway> gateway;
  if (options.sharedMemory) StartGateway(gateway, server, options);
  if (!options.portFile.empty() && !WritePort(options.portFile, server.Port())) return 1;
  WaitForEnd(server, options);
  gateway.reset();
  server.Stop();
  const SimSeen seen = server.Seen();
  if (!seen.failure.empty()) throw std::runtime_error(seen.failure);
  if (!options.quiet && options.logForm == "text") {
    fmt::print("ended: {} links, {} packets, {} requests, {} orders, {} too fast\n", seen.sessions,
               seen.packetCount, seen.requestCount, seen.orders.size(),
               seen.queryViolations + seen.requestViolations);
  }
  return 0;
}

}  // namespace

}  // namespace VekSim

int main(int argc, char** argv) {
  VekSim::VeksimOptions options;
  int exitCode = 0;
  try {
    if (!VekSim::ReadOptions(argc, argv, options, exitCode)) return exitCode;
    return VekSim::Run(options);
  } catch (const std::exception& error) {
    fmt::print(stderr, "veksim: {}\n", error.what());
    return 1;
  }
}
