#include "vekterm/Options.h"

#include <CLI/CLI.hpp>
#include <charconv>

#include "CommandLine.h"
#include "vekterm/Console.h"
#include "vekterm/ExitCodes.h"

namespace VekTerm {
namespace {

constexpr std::size_t kLongestUser = 254;

constexpr char kAbout[] =
    "Terminal client of an order-routing server: connects, signs on, asks, sends orders, and shows what "
    "comes "
    "back while you type. Commands are read from the terminal, or from standard input as a script.";

constexpr char kExamples[] = R"(Examples:
  vekterm gw1:9000 --user trader                        then type: help
  vekterm gw1:9000 gw2:9000 --user trader               the second server when the first fails
  vekterm gw1:9000 --user trader/9800001 --password-file pass.txt < morning.txt
  vekterm :ShMemCli:TCPClient:127.0.0.1:9100 --user trader
  vekterm gw1:9000 --user trader --record day.vekrec    then: vekdump day.vekrec
  vekterm check gw1:9000 --user trader                  what is wrong with the connection?)";

constexpr char kCheckAbout[] =
    "Tries a connection step by step: look-up, every address, connect request, sign-on, round trips, "
    "heartbeat. The first step that fails is explained, and has an exit code of its own.";

std::string Codes(const std::vector<ExitCode>& codes) {
  std::string text = "Exit codes:\n";
  for (const ExitCode& code : codes) {
    const std::string number = std::to_string(code.number);
    text += std::string(6 - number.size(), ' ') + number + "  " + code.meaning + '\n';
  }
  return text + "  > 100  an option is wrong";
}

void AddConnection(CLI::App& app, Options& o) {
  app.add_option("server", o.servers, "HOST:PORT, or a setting such as TCPClient:HOST:PORT ct=5000");
  app.add_option("--user", o.user, "User identity: ID or ID/ACCOUNT")->check([](const std::string& user) {
    return std::string(user.size() > kLongestUser ? "a user has at most 254 bytes" : "");
  });
  app.add_option("--password-file", o.passwordFile,
                 "The first line of this file is the password; without it the terminal asks");
  app.add_flag("--json", o.json, "One JSON object a line: events, tables, fates, errors");
  app.add_option("--timeout", o.patienceSeconds,
                 "Seconds for the session to come up; of a check, for each step")
      ->capture_default_str()
      ->check(CLI::Range(1, 3600));
}

void AddTerminal(CLI::App& app, Options& o) {
  app.add_option("--answer", o.answerSeconds, "Seconds for the answer to a request")
      ->capture_default_str()
      ->check(CLI::Range(1, 3600));
  app.add_option_function<std::string>(
      "--rate",
      [&o](const std::string& text) {
        if (!ReadRate(text, o.rateCount, o.rateMs))
          throw CLI::ValidationError("--rate", "expected COUNT/MS, such as 5/1000");
      },
      "Orders that the server accepts, COUNT/MS; more are held back");
  app.add_option("--record", o.record, "Write a recording of the session to this file; vekdump shows it");
  app.add_option("--rows", o.rows, "Show so many records of a table; 0: all")
      ->capture_default_str()
      ->check(CLI::Range(0, 1'000'000'000));
  app.add_flag("--wide", o.wide, "Show all columns of a table, even if the terminal is narrower");
  app.add_flag("--keep-going", o.keepGoing, "Do not end a script at the first command that fails");
}

CLI::App* AddCheck(CLI::App& app, Options& o) {
  CLI::App* const check = app.add_subcommand("check", kCheckAbout);
  AddConnection(*check, o);
  check->add_option("--rounds", o.rounds, "Queries for the round trips")
      ->capture_default_str()
      ->check(CLI::Range(1, 10000));
  check->add_option("--query", o.query, "The query; any that the server answers")->capture_default_str();
  check->add_option("--slow", o.slowMs, "Milliseconds of a median round trip that is too slow")
      ->capture_default_str()
      ->check(CLI::Range(1, 60000));
  check->footer(Codes(kCheckCodes));
  return check;
}

bool ReadNumber(std::string_view text, int most, int& number) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size() && number >= 1 && number <= most;
}

}  // namespace

bool ReadRate(const std::string& text, int& count, int& ms) {
  count = ms = 0;
  if (text == "off") return true;
  const std::size_t slash = text.find('/');
  return slash != std::string::npos && ReadNumber(std::string_view(text).substr(0, slash), 1000000, count) &&
         ReadNumber(std::string_view(text).substr(slash + 1), 86400000, ms);
}

bool ReadOptions(int argc, char** argv, Options& options, int& exitCode) {
  CLI::App app(kAbout, "vekterm");
  app.footer(kExamples + ("\n\n" + Codes(kExitCodes)));
  AddConnection(app, options);
  AddTerminal(app, options);
  CLI::App* const check = AddCheck(app, options);
  RefuseEmpty(app);
  RefuseEmpty(*check);
  try {
    app.parse(argc, argv);
    options.check = check->parsed();
    options.user = Console::ArgumentText(options.user);
    if (options.servers.empty()) throw CLI::RequiredError("HOST:PORT");
    if (options.user.empty()) throw CLI::RequiredError("--user");
    if (options.check && options.servers.size() != 1)
      throw CLI::ValidationError("check", "one server at a time");
  } catch (const CLI::ParseError& error) {
    exitCode = TellParsed(app, error, kFile);
    return false;
  }
  return true;
}

}  // namespace VekTerm
