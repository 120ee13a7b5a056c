#include "sim/VeksimOptions.h"

#include <CLI/CLI.hpp>
#include <charconv>
#include <map>
#include <string_view>

#include "tools/CommandLine.h"

namespace VekSim {

namespace {

constexpr int kDayMs = 86'400'000;
constexpr int kMostBytes = 1 << 30;

const std::map<std::string, SimEvent> kEvents{{"connect", SimEvent::Connect},
                                              {"sign-on", SimEvent::SignOn},
                                              {"pass", SimEvent::PassChange},
                                              {"request", SimEvent::Request}};
const std::map<std::string, FaultKind> kKinds{
    {"refuse", FaultKind::Refuse},      {"silence", FaultKind::Silence},
    {"close", FaultKind::Close},        {"garbage", FaultKind::Garbage},
    {"length", FaultKind::WrongLength}, {"inner-length", FaultKind::InnerLength},
    {"cut-long", FaultKind::CutLong},   {"endless", FaultKind::EndlessPieces}};

/// Removes the text before the separator, and the separator.
std::string Take(std::string_view& text, char separator) {
  const std::size_t end = std::min(text.find(separator), text.size());
  const std::string part(text.substr(0, end));
  text.remove_prefix(std::min(end + 1, text.size()));
  return part;
}

bool ReadNumber(std::string_view text, std::size_t& number) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size();
}

template <class Map>
auto Named(const Map& names, const std::string& name, const std::string& what) {
  const auto found = names.find(name);
  if (found == names.end())
    throw CLI::ValidationError("--fault", "no " + what + " is called \"" + name + "\"");
  return found->second;
}

/// EVENT:KIND[=N or TEXT]
Fault ReadFault(std::string_view text) {
  Fault fault;
  fault.on = Named(kEvents, Take(text, ':'), "event");
  fault.kind = Named(kKinds, Take(text, '='), "fault");
  if (fault.Refuses()) {
    fault.text = text;
  } else if (!text.empty() && !ReadNumber(text, fault.n)) {
    throw CLI::ValidationError("--fault", "\"" + std::string(text) + "\" is no number");
  }
  return fault;
}

/// COUNT/MS
SimRate ReadRate(const std::string& option, std::string_view text) {
  std::size_t count = 0, ms = 0;
  if (!ReadNumber(Take(text, '/'), count) || !ReadNumber(text, ms) || count > 1000000 || ms > kDayMs) {
    throw CLI::ValidationError(option, "expected COUNT/MS, such as 5/1000");
  }
  return {static_cast<int>(count), static_cast<int>(ms)};
}

/// ID:PASSWORD[:ACCOUNT,ACCOUNT...]
SimUser ReadUser(std::string_view text) {
  SimUser user;
  user.id = Take(text, ':');
  user.password = Take(text, ':');
  while (!text.empty()) user.accounts.push_back(Take(text, ','));
  if (user.accounts.empty()) user.accounts.push_back("9800001");
  if (user.id.empty() || user.password.empty()) {
    throw CLI::ValidationError("--user", "expected ID:PASSWORD[:ACCOUNT,ACCOUNT...]");
  }
  return user;
}

/// Text, or 0x and pairs of hexadecimal digits.
std::string ReadKey(const std::string& text) {
  std::string key = text;
  if (text.starts_with("0x")) {
    key.clear();
    const char* const end = text.data() + text.size();
    for (const char* at = text.data() + 2; at < end; at += 2) {
      unsigned byte = 0;
      const auto [stop, error] = std::from_chars(at, std::min(at + 2, end), byte, 16);
      if (error != std::errc() || stop != at + 2)
        throw CLI::ValidationError("--key", "expected pairs of hex digits");
      key += static_cast<char>(byte);
    }
  }
  if (key.size() > 255) throw CLI::ValidationError("--key", "a key has at most 255 bytes");
  return key;
}

void AddFiles(CLI::App& app, VeksimOptions& o) {
  SimConfig& c = o.config;
  app.add_option("--port-file", o.portFile, "Write the port to this file once the server listens");
  CLI::Option* const replay = app.add_option(
      "--replay", o.replayFile,
      "Play the server's side of this recording (of --record, or a client's) instead of a market");
  app.add_flag("--replay-fast", o.replayFast, "Replay without the recorded pauses")->needs(replay);
  CLI::Option* const ofMarket[] = {
      app.add_option("--record", c.recordFile,
                     "Write a recording of all links to this file, for vekdump and --replay"),
      app.add_option(
          "--ledger", o.ledgerFile,
          "Add to this file a line for each request that arrives, \"saw WORKID VERB\", and for each order "
          "carried out, \"did WORKID ORDERNUMBER\", before it is answered"),
      app.add_option("--persist", c.persistFile,
                     "Keep orders, deals and prices in this file: they survive a restart of the program"),
      app.add_option("--script", o.scriptFile, "Play this day; docs/simulator.md describes the file"),
      app.add_option("--web", c.webPort,
                     "Port of a page that shows the server and lets it misbehave; 0 lets the system choose"),
      app.add_flag("--shm", o.sharedMemory,
                   "Run a gateway for shared-memory clients as well; its setting is logged"),
  };
  for (CLI::Option* const option : ofMarket) option->excludes(replay);
}

void AddServer(CLI::App& app, VeksimOptions& o) {
  SimConfig& c = o.config;
  app.add_option("--host", c.host, "Address to listen on")->capture_default_str()->check(CLI::ValidIPV4);
  app.add_option("--port", c.port, "Port; 0 lets the system choose")->capture_default_str();
  app.add_option("--seed", o.seed, "Seed of noise and prices, instead of the script's");
  app.add_option("--log", o.logForm, "text, or json: one object per line")
      ->capture_default_str()
      ->check(CLI::IsMember({"text", "json"}));
  app.add_option(
         "--web-host", c.webHost,
         "Address of the page. On another than a loopback address the page takes a token, which is printed")
      ->capture_default_str()
      ->check(CLI::ValidIPV4);
  app.add_flag("--once", o.once, "Exit when the first link has ended");
  app.add_flag(
      "--crash-at-eof", o.crashAtEof,
      "Crash when the standard input ends, as if killed: where a kill leaves the sockets open, as Wine does");
  app.add_flag("-q,--quiet", o.quiet, "Log nothing");
  app.add_flag_callback(
      "--big-endian", [&c] { c.order = ByteOrder::Big; }, "Use big-endian byte order");
  app.add_option("--mode", c.mode, "Scrambling mode; 1 asks clients to scramble")
      ->capture_default_str()
      ->check(CLI::Range(-128, 127));
}

void AddBusiness(CLI::App& app, VeksimOptions& o) {
  SimConfig& c = o.config;
  app.add_option_function<std::vector<std::string>>(
         "--user",
         [&c](const std::vector<std::string>& texts) {
           c.users.clear();
           for (const std::string& text : texts) c.users.push_back(ReadUser(text));
         },
         "ID:PASSWORD[:ACCOUNT,ACCOUNT...]; repeatable (default: trader:secret and demo:demo)")
      ->expected(1)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  app.add_flag("--anyone", c.acceptAnyone, "Accept every identity and password");
  app.add_option("--reply", c.signOnReply, "Number of a sign-on reply before the result; 0: none");
  app.add_option_function<std::string>(
      "--rate",
      [&c](const std::string& s) {
        const int slack = c.queryRate.slackMs;
        c.queryRate = ReadRate("--rate", s);
        c.queryRate.slackMs = slack;
      },
      "Query rate COUNT/MS to announce and check (default: 20/1000)");
  app.add_option_function<std::string>(
      "--request-rate", [&c](const std::string& s) { c.requestRate = ReadRate("--request-rate", s); },
      "Rate COUNT/MS to check for paced requests (default: none)");
  app.add_flag("--refuse-fast", c.refuseFast, "Refuse requests above the rates");
  app.add_flag_callback(
      "--big5", [&c] { c.utf8 = false; }, "Send results in code page 950 instead of UTF-8");
  app.add_option("--reports", o.reportsPerSecond, "Reports per second to all sessions signed on")
      ->check(CLI::Range(0, 1'000'000));
  app.add_option("--heartbeat", c.heartbeatMs, "Period of heartbeats in milliseconds; 0: only echo")
      ->capture_default_str()
      ->check(CLI::Range(0, kDayMs));
}

/// Those that may be empty.
void AddTexts(CLI::App& app, VeksimOptions& o) {
  SimConfig& c = o.config;
  app.add_option_function<std::string>(
      "--key", [&c](const std::string& s) { c.key = ReadKey(s); },
      "Scrambling key: text, or 0x and hex digits");
  app.add_option("--name", c.serverName, "Server name")
      ->capture_default_str()
      ->check([](const std::string& name) {
        return std::string(name.size() > 255 ? "a name has at most 255 bytes" : "");
      });
  app.add_option("--rate-table", c.rateTable, "Table that announces the query rate; empty: none")
      ->capture_default_str();
}

void AddFaults(CLI::App& app, VeksimOptions& o) {
  LinkFaults& link = o.config.link;
  app.add_option("--split", link.split, "Write at most so many bytes at a time")
      ->check(CLI::Range(1, kMostBytes))
      ->group("Misbehaviour");
  app.add_option("--delay", link.delayMs, "Wait so many milliseconds before each write")
      ->check(CLI::Range(0, kDayMs))
      ->group("Misbehaviour");
  app.add_option("--cut", link.cutAfter, "End each stream behind so many bytes")
      ->check(CLI::Range(0, kMostBytes))
      ->group("Misbehaviour");
  app.add_flag("--stall", link.stall, "Never read")->group("Misbehaviour");
  app.add_flag("--silent", link.silent, "Read, but never answer")->group("Misbehaviour");
  app.add_option_function<std::vector<std::string>>(
         "--fault",
         [&o](const std::vector<std::string>& texts) {
           for (const std::string& text : texts) o.faults.push_back(ReadFault(text));
         },
         "EVENT:KIND[=N or TEXT], played once; may be given again. Events: connect, sign-on, pass, request. "
         "Kinds: refuse, silence, close, garbage, length, inner-length, cut-long, endless")
      ->expected(1)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
      ->group("Misbehaviour");
}

}  // namespace

bool ReadOptions(int argc, char** argv, VeksimOptions& options, int& exitCode) {
  CLI::App app("Simulated order-routing server. Listens until it is interrupted.", "veksim");
  AddServer(app, options);
  AddFiles(app, options);
  AddBusiness(app, options);
  AddFaults(app, options);
  RefuseEmpty(app);
  AddTexts(app, options);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    exitCode = TellParsed(app, error, 1);
    return false;
  }
  return true;
}

}  // namespace VekSim
