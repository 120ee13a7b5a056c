// A terminal client of an order-routing server.
#include <fmt/core.h>

#include <exception>

#include "platform/runtime/Wipe.h"
#include "vekterm/Advice.h"
#include "vekterm/Check.h"
#include "vekterm/Console.h"
#include "vekterm/LineEditor.h"
#include "vekterm/Recorder.h"
#include "vekterm/Script.h"

namespace VekTerm {
namespace {

class Terminal : public Screen {
 public:
  void Print(const std::string& lines) override {
    editor_ != nullptr ? editor_->Print(lines, false) : Console::Write(lines);
  }
  void PrintError(const std::string& lines) override {
    editor_ != nullptr ? editor_->Print(lines, true) : Console::WriteError(lines);
  }
  // Null if lines are not edited.
  void Edit(LineEditor* editor) { editor_ = editor; }

 private:
  LineEditor* editor_ = nullptr;
};

struct Ending {
  EExit code;
  std::string why;
};

std::string PasswordOf(const Options& options) {
  try {
    if (!options.passwordFile.empty()) return ReadSecret(options.passwordFile);
  } catch (const Failure& failure) {
    throw Ending{kFile, failure.what()};
  }
  if (auto asked = AskSecret("Password of " + options.user + ": ")) return *asked;
  throw Ending{kFile, "there is no terminal to ask for the password: use --password-file"};
}

EExit RunTyped(Shell& shell, Client& client, Output& output, Terminal& terminal) {
  LineEditor editor(
      {client.Session().Handle() == nullptr ? 0 : CVekSession_WaitHandle(client.Session().Handle()),
       [&] { client.Pump(); }, [&](std::string_view before) { return shell.Complete(before); }});
  terminal.Edit(&editor);
  output.Tell({"hint", "Type help for the commands, quit to leave.", {}, {}});
  while (!shell.Over()) {
    const auto line = editor.Read();
    if (!line || Console::MustEnd()) break;
    try {
      shell.Run(*line);
    } catch (const std::exception& failure) {
      output.Tell({"error", std::string("vekterm: ") + failure.what(), {}, {}});
    }
  }
  terminal.Edit(nullptr);
  return kDone;
}

// A script cannot use a session that may come up at some later time.
void ExpectUp(Client& client, const Options& options) {
  if (client.WaitUntilSettled(std::chrono::seconds(options.patienceSeconds))) return;
  const CVekEvent& state = client.LastState();
  const bool refused = state.state == vss_Refused;
  if (refused && state.reason == 0) throw Ending{kRefused, "the server refused the sign-on"};
  const std::int32_t why = state.cause != 0 ? state.cause : state.reason;
  const std::string reason = CVekApi_Text(vst_Reason, why, 0);
  const std::string more = BeyondReason(reason, client.StateDetail());
  throw Ending{refused ? kRefused : kNoSession,
               (reason.empty() ? "the session did not come up in time" : reason) +
                   (more.empty() ? "" : ": " + more) + "\n  " + Advice(why)};
}

EExit RunTerminal(const Options& options, const std::string& password, Output& output, Terminal& terminal) {
  std::unique_ptr<Recorder> recorder;
  try {
    if (!options.record.empty()) recorder = std::make_unique<Recorder>(options.record);
  } catch (const std::runtime_error& error) {
    throw Ending{kFile, error.what()};
  }
  const bool typed = Console::InputIsTerminal();
  EExit code = kDone;
  {
    Client client(options, output, recorder.get());
    Shell shell(client, output, password);
    client.Open(password);
    if (typed) {
      client.WaitUntilSettled(std::chrono::seconds(options.patienceSeconds));
      code = RunTyped(shell, client, output, terminal);
    } else {
      ExpectUp(client, options);
      code = RunScript(shell, client, output, options.keepGoing);
      if (Console::InputLost()) throw Ending{kFile, "standard input could not be read to its end"};
    }
  }
  if (recorder) recorder->Close();
  return code;
}

EExit RunWith(const Options& options, Output& output, Terminal& terminal) {
  Ending ending{kInterrupted, "interrupted"};
  try {
    std::string password = PasswordOf(options);
    const EExit code = options.check ? RunCheck(options, password, output)
                                     : RunTerminal(options, password, output, terminal);
    Dova::WipeText(password);
    if (!Console::OutputLost()) return code;
  } catch (const Ending& early) {
    ending = early;
  } catch (const Interrupted&) {
  }
  if (Console::OutputLost()) ending = {kFile, "the output could not be written"};
  output.Tell({"error", "vekterm: " + ending.why, {{"exit", std::int64_t{ending.code}}}, {}});
  return ending.code;
}

EExit Run(const Options& options) {
  Console::WatchSignals();
  Terminal terminal;
  std::unique_ptr<Output> output;
  if (options.json) {
    output = std::make_unique<JsonOutput>(terminal);
  } else {
    output = std::make_unique<TextOutput>(terminal, options.rows);
    output->ShowWide(options.wide);
  }
  return RunWith(options, *output, terminal);
}

}  // namespace
}  // namespace VekTerm

int main(int argc, char** argv) {
  VekTerm::Options options;
  int exitCode = 0;
  try {
    if (!VekTerm::ReadOptions(argc, argv, options, exitCode)) return exitCode;
    return VekTerm::Run(options);
  } catch (const std::exception& error) {
    fmt::print(stderr, "vekterm: {}\n", error.what());
    return VekTerm::kFile;
  }
}
