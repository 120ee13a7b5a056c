// Shows the traffic of the protocol.
#include <fmt/core.h>

#include <cerrno>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <stdexcept>

#include "Terminal.h"
#include "vekdump/Chart.h"
#include "vekdump/Decoder.h"
#include "vekdump/Dump.h"
#include "vekdump/Options.h"
#include "vekdump/Proxy.h"
#include "vekdump/RecordingFile.h"
#include "vekdump/Stats.h"
#include "vekdump/Text.h"

namespace VekDump {
namespace {

// The files written, and whether writing succeeded.
class Files {
 public:
  // `input` is not overwritten; empty if there is none.
  explicit Files(std::string input) : input_(std::move(input)) {}
  std::ostream& Open(const std::string& name) {
    std::error_code none;
    if (std::filesystem::equivalent(name, input_, none))
      throw std::runtime_error(name + " is the input, and is not overwritten");
    std::ofstream& file = files_[name];
    if (file.is_open()) throw std::runtime_error(name + " is named for two outputs");
    file.open(name, std::ios::binary);
    if (!file) throw std::runtime_error(fmt::format("{} cannot be written: {}", name, std::strerror(errno)));
    return file;
  }
  void Close() {
    for (auto& [name, file] : files_) {
      file.close();
      if (!file) throw std::runtime_error(name + " could not be written to its end");
    }
  }

 private:
  const std::string input_;
  std::map<std::string, std::ofstream> files_;
};

// Shows without delay what comes in little by little. Its recording survives a kill.
class Flushing : public Output {
 public:
  explicit Flushing(std::ostream& out) : out_(out) {}
  void Show(const Item&) override { out_.flush(); }

 private:
  std::ostream& out_;
};

void AddOutputs(const Options& options, Files& files, Filter& filter) {
  if (options.json) {
    filter.Add(std::make_unique<JsonOutput>(std::cout, options.shown.hex));
  } else if (!options.stats) {
    filter.Add(std::make_unique<TextOutput>(std::cout, options.shown));
  }
  const bool live = options.file.empty() || options.file == "-";
  if (live) filter.Add(std::make_unique<Flushing>(std::cout));
  if (options.stats) filter.Add(std::make_unique<Stats>(options.json ? std::cerr : std::cout));
  if (!options.chart.empty()) filter.Add(std::make_unique<Chart>(files.Open(options.chart)));
  if (options.record.empty()) return;
  std::ostream& recording = files.Open(options.record);
  filter.Add(std::make_unique<RecordingWriter>(recording));
  if (live) filter.Add(std::make_unique<Flushing>(recording));
}

// Before the outputs, so that a wrong name leaves no empty ones.
std::ifstream OpenInput(const Options& options) {
  std::ifstream file;
  errno = 0;
  if (options.file == "-") {
    PrepareInput();
  } else if (!options.file.empty()) {
    file.open(options.file, std::ios::binary);
  }
  if (!file)
    throw std::runtime_error(fmt::format("{} cannot be read: {}", options.file, std::strerror(errno)));
  return file;
}

void ReadFile(const Options& options, std::istream& file, Filter& filter) {
  const LeftOut left = DumpFile(file, options.file, options.serverPort, filter);
  if (left.connections != 0)
    fmt::print(stderr, "vekdump: {} left out that do not look like the protocol; --port decodes one anyway\n",
               Counted(left.connections, "connection"));
  if (left.frames != 0)
    fmt::print(stderr, "vekdump: {} left out of link types that are not known\n",
               Counted(left.frames, "frame"));
}

void WatchLine(const Options& options, Files& files, Filter& filter) {
  Decoder decoder(filter);
  Proxy proxy(options.address, options.listen, options.server, decoder);
  fmt::print(stderr, "vekdump: listening on {}:{}, passing on to {}; Ctrl-C ends\n", options.address,
             proxy.Port(), options.server);
  if (!options.portFile.empty()) files.Open(options.portFile) << proxy.Port() << std::endl;
  proxy.Run(true);
  decoder.End();
}

void Run(const Options& options) {
  std::ifstream input = OpenInput(options);
  Files files(options.file);
  Filter filter(options.links, options.codes);
  AddOutputs(options, files, filter);
  if (options.file.empty()) {
    WatchLine(options, files, filter);
  } else {
    ReadFile(options, options.file == "-" ? std::cin : input, filter);
  }
  files.Close();
  std::cout.flush();
  if (!std::cout) throw std::runtime_error("the output could not be written");
}

}  // namespace
}  // namespace VekDump

int main(int argc, char** argv) {
  VekDump::Options options;
  int exitCode = 0;
  PrepareTerminal();
  std::ios::sync_with_stdio(false);
  try {
    if (!VekDump::ReadOptions(argc, argv, options, exitCode)) return exitCode;
    VekDump::Run(options);
    return 0;
  } catch (const std::exception& error) {
    std::cout.flush();
    fmt::print(stderr, "vekdump: {}\n", error.what());
    return 1;
  }
}
