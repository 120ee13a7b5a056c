#include "shmem/Process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <filesystem>
#include <stdexcept>

#include "platform/os/NamedMapping.h"

namespace vektest {
namespace {

constexpr int kPatienceMs = 10'000;

// A process that ends closes its output. False if it prints nothing for too long.
bool AwaitEnd(int output) {
  char dropped[512];
  pollfd entry{output, POLLIN, 0};
  while (poll(&entry, 1, kPatienceMs) == 1) {
    if (read(output, dropped, sizeof dropped) <= 0) return true;
  }
  return false;
}

}  // namespace

struct Process::Native {
  pid_t id = -1;
  int input = -1;
  std::FILE* output = nullptr;
};

Process::Process(const std::string& program, const std::vector<std::string>& arguments)
    : native_(std::make_unique<Native>()) {
  const std::string path = std::filesystem::read_symlink("/proc/self/exe").parent_path() / program;
  std::vector<char*> argv{const_cast<char*>(path.c_str())};
  for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);
  int ends[2], inputEnds[2];
  if (pipe2(ends, O_CLOEXEC) != 0 || pipe2(inputEnds, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, inputEnds[0], STDIN_FILENO);
  const int error = posix_spawn(&native_->id, path.c_str(), &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  close(ends[1]);
  close(inputEnds[0]);
  native_->input = inputEnds[1];
  native_->output = fdopen(ends[0], "r");
  if (error != 0) throw std::runtime_error("cannot start " + path);
}

Process::~Process() {
  close(native_->input);
  if (native_->id >= 0 && AwaitEnd(fileno(native_->output))) {
    waitpid(native_->id, nullptr, 0);
    native_->id = -1;
  }
  Kill();
  std::fclose(native_->output);
}

std::string Process::ReadLine() {
  char line[512] = {};
  if (std::fgets(line, sizeof line, native_->output) == nullptr) return {};
  std::string text = line;
  while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
  return text;
}

void Process::Kill() {
  if (native_->id < 0) return;
  kill(native_->id, SIGKILL);
  waitpid(native_->id, nullptr, 0);
  native_->id = -1;
}

long Process::Id() const {
  return native_->id;
}

std::string Self() {
  return std::filesystem::read_symlink("/proc/self/exe").filename();
}

std::string FreshName() {
  static std::atomic<int> count{0};
  return Dova::Os::OwnName("vektest-" + std::to_string(++count));
}

}  // namespace vektest
