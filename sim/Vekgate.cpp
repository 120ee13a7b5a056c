// A gateway program: connects shared-memory clients on this machine to a server over TCP.
#include <fmt/core.h>

#include <CLI/CLI.hpp>
#include <asio.hpp>
#include <cstdio>
#include <exception>
#include <regex>
#include <string>

#include "sim/SimGateway.h"
#include "tools/CommandLine.h"

namespace {

struct Options {
  VekSim::SimGatewayConfig config;
  std::string upstream = "127.0.0.1:9000";
  bool untilEof = false;
  bool quiet = false;
};

void SplitAddress(Options& options) {
  const std::size_t colon = options.upstream.rfind(':');
  if (colon == std::string::npos) throw CLI::ValidationError("--upstream", "expected HOST:PORT");
  options.config.upstreamHost = options.upstream.substr(0, colon);
  const std::string port = options.upstream.substr(colon + 1);
  if (!CLI::detail::lexical_cast(port, options.config.upstreamPort) || options.config.upstreamPort == 0) {
    throw CLI::ValidationError("--upstream", "\"" + port + "\" is not a port");
  }
}

// Names are told in lines. Systems allow twice the length, which leaves room for what is appended. A Windows
// name may say for which sessions of the machine it is.
std::string RingName(const std::string& prefix) {
  static const std::regex good(R"(((Global|Local)\\)?[^\x01-\x1f\\]{1,100})");
  if (prefix.empty() || std::regex_match(prefix, good)) return {};
  return "at most 100 bytes, without control characters and '\\'";
}

void AddOptions(CLI::App& app, Options& options) {
  app.add_option("--host", options.config.host, "Address to accept proxy links on")
      ->capture_default_str()
      ->check(CLI::ValidIPV4);
  app.add_option("--port", options.config.port, "Port; 0 lets the system choose")->capture_default_str();
  app.add_option("--upstream", options.upstream, "HOST:PORT of the server")->capture_default_str();
  app.add_option("--ring", options.config.ringBytes, "Capacity of each ring in bytes")
      ->capture_default_str()
      ->check(CLI::Range(1u, 1u << 30));
  app.add_option("--spin", options.config.spinUs, "Microseconds to poll a link's ring before sleeping")
      ->capture_default_str()
      ->check(CLI::Range(0, 1'000'000));
  app.add_option("--name", options.config.namePrefix, "Prefix of the ring names")
      ->capture_default_str()
      ->check(RingName);
  app.add_option("--crash-after", options.config.crashAfter,
                 "Terminate abruptly after so many bytes to a client; 0: never")
      ->capture_default_str();
  app.add_flag("--until-eof", options.untilEof, "Run until standard input ends instead of until interrupted");
  app.add_flag("-q,--quiet", options.quiet, "Log only the setting");
}

void AwaitInterrupt() {
  asio::io_context signals;
  asio::signal_set set(signals, SIGINT, SIGTERM);
  set.async_wait([](const asio::error_code&, int) {});
  signals.run();
}

void AwaitEndOfInput() {
  while (std::getchar() != EOF) continue;
}

int Run(Options& options) {
  const auto say = [](const std::string& line) {
    fmt::print("{}\n", line);
    std::fflush(stdout);
  };
  if (!options.quiet) options.config.log = say;
  VekSim::SimGateway gateway(options.config);
  say(gateway.Setting());
  options.untilEof ? AwaitEndOfInput() : AwaitInterrupt();
  gateway.Stop();
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    Options options;
    CLI::App app(
        "Gateway for shared-memory clients. Runs until it is interrupted; prints the setting to connect "
        "with.",
        "vekgate");
    AddOptions(app, options);
    RefuseEmpty(app);
    try {
      app.parse(argc, argv);
      SplitAddress(options);
    } catch (const CLI::ParseError& error) {
      return TellParsed(app, error, 1);
    }
    return Run(options);
  } catch (const std::exception& error) {
    fmt::print(stderr, "vekgate: {}\n", error.what());
    return 1;
  }
}
