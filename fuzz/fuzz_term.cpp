// What is typed into the terminal client, and reports from the server. The first byte chooses: the command
// line, a word a line; commands without a session; completion; a report.
#include <cstddef>
#include <cstdint>
#include <iostream>
#include <string>
#include <string_view>
#include <vector>

#include "vekterm/Completion.h"
#include "vekterm/Shell.h"
#include "vekterm/Tables.h"

namespace {

using namespace VekTerm;

class Nowhere : public Screen {
 public:
  void Print(const std::string&) override {}
  void PrintError(const std::string&) override {}
};

std::vector<std::string> Lines(std::string_view text) {
  std::vector<std::string> lines;
  for (std::size_t at = 0; at <= text.size();) {
    const std::size_t end = std::min(text.find('\n', at), text.size());
    lines.emplace_back(text.substr(at, end - at));
    at = end + 1;
  }
  return lines;
}

void ReadArguments(std::string_view bytes) {
  std::vector<std::string> words = Lines(bytes);
  std::vector<char*> pointers{const_cast<char*>("vekterm")};
  for (std::string& word : words) pointers.push_back(word.data());
  Options options;
  int exitCode = 0;
  std::cout.rdbuf(nullptr), std::cerr.rdbuf(nullptr);
  ReadOptions(static_cast<int>(pointers.size()), pointers.data(), options, exitCode);
}

// These wait, ask on the terminal, or read files that the input names.
bool Waits(const std::string& line) {
  const Words words = Divide(line);
  for (const char* const name : {"wait", "expect", "open", "close", "password"})
    if (!words.empty() && words.front() == name) return true;
  return false;
}

struct World {
  Nowhere nowhere;
  Options options;
  TextOutput output{nowhere, 10};
  Client client{options, output, nullptr};
  Shell shell{client, output, "pass"};
};

void RunLine(Shell& shell, const std::string& line) {
  try {
    if (!Waits(line)) shell.Run(line);
  } catch (const Failure&) {
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  static World& world = *new World;
  const std::string_view bytes(reinterpret_cast<const char*>(data) + 1, size - 1);
  if (data[0] % 4 == 0) ReadArguments(bytes);
  if (data[0] % 4 == 1)
    for (const std::string& line : Lines(bytes)) RunLine(world.shell, line);
  if (data[0] % 4 == 2) CompletionOf(bytes, world.shell.Complete(bytes));
  if (data[0] % 4 == 3) world.output.Tell(ReportNote(bytes));
  return 0;
}
