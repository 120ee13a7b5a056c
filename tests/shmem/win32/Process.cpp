#include "shmem/Process.h"

#include <windows.h>

#include <atomic>
#include <stdexcept>

namespace vektest {
namespace {

constexpr DWORD kPatienceMs = 10'000;

std::string SelfPath() {
  char path[MAX_PATH];
  return {path, GetModuleFileNameA(nullptr, path, MAX_PATH)};
}

}  // namespace

struct Process::Native {
  PROCESS_INFORMATION process{};
  HANDLE output = nullptr;
  HANDLE input = nullptr;
};

Process::Process(const std::string& program, const std::vector<std::string>& arguments)
    : native_(std::make_unique<Native>()) {
  std::string command = SelfPath();
  command = "\"" + command.substr(0, command.rfind('\\') + 1) + program + ".exe\"";
  for (const std::string& argument : arguments) command += " \"" + argument + "\"";
  SECURITY_ATTRIBUTES inherit{sizeof inherit, nullptr, TRUE};
  HANDLE write = nullptr, read = nullptr;
  if (!CreatePipe(&native_->output, &write, &inherit, 0) ||
      !CreatePipe(&read, &native_->input, &inherit, 0)) {
    throw std::runtime_error("no pipe");
  }
  SetHandleInformation(native_->output, HANDLE_FLAG_INHERIT, 0);
  SetHandleInformation(native_->input, HANDLE_FLAG_INHERIT, 0);
  STARTUPINFOA start{};
  start.cb = sizeof start;
  start.dwFlags = STARTF_USESTDHANDLES;
  start.hStdInput = read;
  start.hStdOutput = write;
  start.hStdError = GetStdHandle(STD_ERROR_HANDLE);
  const BOOL started = CreateProcessA(nullptr, command.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr,
                                      &start, &native_->process);
  const DWORD error = started ? 0 : GetLastError();
  CloseHandle(write);
  CloseHandle(read);
  if (!started) throw std::runtime_error("error " + std::to_string(error) + ": cannot start " + command);
}

Process::~Process() {
  CloseHandle(native_->input);
  if (WaitForSingleObject(native_->process.hProcess, kPatienceMs) != WAIT_OBJECT_0) Kill();
  CloseHandle(native_->process.hThread);
  CloseHandle(native_->process.hProcess);
  CloseHandle(native_->output);
}

std::string Process::ReadLine() {
  std::string line;
  char c = 0;
  DWORD count = 0;
  while (ReadFile(native_->output, &c, 1, &count, nullptr) && count == 1 && c != '\n') {
    if (c != '\r') line += c;
  }
  return line;
}

void Process::Kill() {
  TerminateProcess(native_->process.hProcess, 9);
  WaitForSingleObject(native_->process.hProcess, INFINITE);
}

long Process::Id() const {
  return static_cast<long>(native_->process.dwProcessId);
}

std::string Self() {
  const std::string path = SelfPath();
  const std::size_t begin = path.rfind('\\') + 1;
  return path.substr(begin, path.rfind('.') - begin);
}

std::string FreshName() {
  static std::atomic<int> count{0};
  return "vektest-" + std::to_string(GetCurrentProcessId()) + "-" + std::to_string(++count);
}

}  // namespace vektest
