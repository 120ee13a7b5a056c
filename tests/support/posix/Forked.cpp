#include "support/Forked.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <thread>

namespace TestSupport {
namespace {

const pid_t parent = getpid();

// How often each other thread has run so far, by thread id; nothing while one is running.
std::optional<std::map<std::string, std::string>> Sleepers() {
  std::map<std::string, std::string> sleepers;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task")) {
    const std::string id = entry.path().filename();
    if (id == std::to_string(gettid())) continue;
    std::string state;
    std::getline(std::ifstream(entry.path() / "stat").ignore(100, ')'), state);
    if (state.rfind(" S", 0) != 0) return {};
    std::getline(std::ifstream(entry.path() / "schedstat"), sleepers[id]);
  }
  return sleepers;
}

// Two equal readings: all others slept in between.
bool AllOthersSleep() {
  const auto patience = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (std::chrono::steady_clock::now() < patience) {
    const auto before = Sleepers();
    if (before && before == Sleepers()) return true;
    std::this_thread::yield();
  }
  ADD_FAILURE() << "the process does not come to rest";
  return false;
}

// ThreadSanitizer takes a thread at the address of one that does not exist in the child for a duplicate:
// these are too large to reuse such memory.
void TakeFreshStacks() {
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, std::size_t{256} << 20);
  pthread_setattr_default_np(&attributes);
  pthread_attr_destroy(&attributes);
}

[[noreturn]] void BeChild(const std::function<int()>& body) {
  alarm(60);
  if (!kForksAtAnyMoment) TakeFreshStacks();
  std::exit(body());
}

}  // namespace

std::optional<int> ExitCodeOfChild(const std::function<int()>& body) {
  if (!kForksAtAnyMoment && !AllOthersSleep()) return -1;
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) BeChild(body);
  int status = -1;
  if (child < 0 || waitpid(child, &status, 0) != child || !WIFEXITED(status)) return -1;
  return WEXITSTATUS(status);
}

}  // namespace TestSupport

// NOLINTBEGIN: names required by the sanitizers
extern "C" {
// Memory referenced from the stacks of the parent's threads looks leaked in a child, which lacks them.
int __lsan_is_turned_off();
int __lsan_is_turned_off() {
  return getpid() != TestSupport::parent ? 1 : 0;
}

const char* __tsan_default_options();
const char* __tsan_default_options() {
  return "die_after_fork=0";
}
}
// NOLINTEND
