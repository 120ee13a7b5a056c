#include "vekterm/Shell.h"

#include <charconv>
#include <fstream>

#include "platform/runtime/Wipe.h"
#include "vekterm/Console.h"

namespace VekTerm {

Shell::Shell(Client& client, Output& output, std::string password)
    : client_(client), output_(output), password_(std::move(password)) {}

Shell::~Shell() {
  Dova::WipeText(password_);
}

void Shell::Say(const char* kind, const std::string& text, std::vector<Field> fields) {
  output_.Tell({kind, text, std::move(fields), {}});
}

Words Divide(std::string_view line) {
  Words words;
  bool quoted = false, inWord = false;
  for (const char c : line) {
    if (c == '"') {
      quoted = !quoted;
      if (!inWord) words.emplace_back();
      inWord = true;
    } else if (!quoted && (c == ' ' || c == '\t')) {
      inWord = false;
    } else {
      if (!inWord) words.emplace_back();
      inWord = true;
      words.back() += c;
    }
  }
  if (quoted) throw Failure("a quote (\") has no end");
  return words;
}

long ReadCount(const std::string& text, long least, long most, const char* what) {
  long number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error == std::errc() && end == text.data() + text.size() && number >= least && number <= most)
    return number;
  throw Failure(std::string(what) + " is a number from " + std::to_string(least) + " to " +
                std::to_string(most) + ", not \"" + text + '"');
}

std::string ReadSecret(const std::string& name) {
  std::ifstream file(name, std::ios::binary);
  std::string line;
  std::getline(file, line);
  if (!file && line.empty()) throw Failure(name + " cannot be read, or is empty");
  if (line.ends_with('\r')) line.pop_back();
  return line;
}

std::optional<std::string> AskSecret(std::string_view prompt) {
  auto secret = Console::AskSecret(prompt);
  if (!secret && (Console::TakeInterrupt() || Console::MustEnd())) throw Interrupted();
  return secret;
}

}  // namespace VekTerm
