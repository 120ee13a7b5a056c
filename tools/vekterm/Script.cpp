#include "vekterm/Script.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

#include "vekdump/Text.h"
#include "vekterm/Console.h"

namespace VekTerm {
namespace {

constexpr std::size_t kLongestLine = 1 << 20;
constexpr std::size_t kMostWaiting = 1000;
constexpr Client::Ms kScriptTick{20};

// Reads on a thread of its own, because not every input can be waited for together with the session. The
// thread is abandoned if the program ends before its input does, so what it uses is shared.
class Lines {
 public:
  Lines() {
    std::thread([state = state_] { Read(*state); }).detach();
  }

  enum class Got { Line, Nothing, End };
  Got Take(std::string& line) {
    const std::lock_guard lock(state_->mutex);
    if (state_->lines.empty()) return state_->over ? Got::End : Got::Nothing;
    line = std::move(state_->lines.front());
    state_->lines.pop_front();
    state_->taken.notify_one();
    return Got::Line;
  }

 private:
  struct State {
    std::mutex mutex;
    std::condition_variable taken;
    std::deque<std::string> lines;
    bool over = false;
  };

  static void Put(State& state, std::string line) {
    if (line.ends_with('\r')) line.pop_back();
    std::unique_lock lock(state.mutex);
    state.taken.wait(lock, [&] { return state.lines.size() < kMostWaiting; });
    state.lines.push_back(std::move(line));
  }

  static void Read(State& state) {
    std::string line;
    char bytes[4096];
    while (const std::size_t count = Console::ReadInput(bytes, sizeof bytes)) {
      for (const char c : std::string_view(bytes, count)) {
        if (c == '\n') Put(state, std::exchange(line, {}));
        if (c != '\n' && line.size() <= kLongestLine) line += c;
      }
    }
    if (!line.empty()) Put(state, line);
    const std::lock_guard lock(state.mutex);
    state.over = true;
  }

  std::shared_ptr<State> state_ = std::make_shared<State>();
};

void RunLine(Shell& shell, const std::string& line) {
  if (line.size() > kLongestLine) throw Failure("the line is longer than a megabyte");
  if (line.find('\0') != std::string::npos) throw Failure("this is no text: it has a byte 0");
  shell.Run(line);
}

// False if the line failed.
bool Carry(Shell& shell, Output& output, const std::string& line, std::int64_t number) {
  try {
    RunLine(shell, line);
    return true;
  } catch (const Interrupted&) {
    throw;
  } catch (const std::exception& failure) {
    const std::string shown = VekDump::Shortened(VekDump::ValidUtf8(line), 200);
    output.Tell({"error",
                 "vekterm: line " + std::to_string(number) + ": " + shown + ": " + failure.what(),
                 {{"line", number}, {"command", shown}, {"text", failure.what()}},
                 {}});
    return false;
  }
}

}  // namespace

EExit RunScript(Shell& shell, Client& client, Output& output, bool keepGoing) {
  Lines lines;
  std::string line;
  bool good = true;
  for (std::int64_t number = 1; !shell.Over() && (good || keepGoing);) {
    client.Pump();
    if (Console::TakeInterrupt() || Console::MustEnd()) throw Interrupted();
    const Lines::Got got = lines.Take(line);
    if (got == Lines::Got::Nothing) client.Pump(kScriptTick);
    if (got == Lines::Got::Line) good = Carry(shell, output, line, number++) && good;
    if (got == Lines::Got::End) {
      shell.Run("wait");
      break;
    }
  }
  return good ? kDone : kCommandFailed;
}

}  // namespace VekTerm
