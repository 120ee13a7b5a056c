// The commands of the terminal.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "vekterm/Client.h"

namespace VekTerm {

class Shell;
using Words = std::vector<std::string>;

struct Command {
  const char* name;
  const char* arguments;
  const char* does;
  const char* more;     // "" or further details
  const char* example;  // with its effect, on separate lines
  void (Shell::*run)(const Words& words);
  std::vector<std::string> completions;  // for arguments
};

class Shell {
 public:
  Shell(Client& client, Output& output, std::string password);
  ~Shell();
  Shell(const Shell&) = delete;
  Shell& operator=(const Shell&) = delete;

  // Executes one line; throws Failure.
  void Run(const std::string& line);
  // "quit" was entered.
  bool Over() const { return over_; }
  std::vector<std::string> Complete(std::string_view before) const;

  static const std::vector<Command>& Commands();

 private:
  // Requests
  void Query(const Words& words);
  void Order(const Words& words);
  void Raw(const Words& words);
  void Burst(const Words& words);
  void Withdraw(const Words& words);
  void Wait(const Words& words);
  void Expect(const Words& words);
  void Fates(const Words& words);
  // The session
  void State(const Words& words);
  void Limits(const Words& words);
  void Counters(const Words& words);
  void Times(const Words& words);
  void Trace(const Words& words);
  void Wide(const Words& words);
  void Password(const Words& words);
  void Open(const Words& words);
  void Close(const Words& words);
  // Others
  void Help(const Words& words);
  void Quit(const Words& words);

  void Send(std::int32_t code, const std::string& text, bool later);
  void Say(const char* kind, const std::string& text, std::vector<Field> fields = {});

  Client& client_;
  Output& output_;
  std::string password_;
  bool over_ = false;
};

// Words separated by blanks; "..." keeps blanks. Throws Failure for an unclosed quote.
Words Divide(std::string_view line);

// A whole number; throws Failure, which says what `what` must be.
long ReadCount(const std::string& text, long least, long most, const char* what);

// The first line of a file. Throws Failure.
std::string ReadSecret(const std::string& file);

// Asks on the terminal; nothing if there is none, or at the end of its input. Throws Interrupted.
std::optional<std::string> AskSecret(std::string_view prompt);

}  // namespace VekTerm
