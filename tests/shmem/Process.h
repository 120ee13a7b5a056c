// Another process.
#pragma once

#include <memory>
#include <string>
#include <vector>

namespace vektest {

// A program in this build's directory. Its standard input is closed when this goes out of scope; a program
// that continues is killed after a while.
class Process {
 public:
  Process(const std::string& program, const std::vector<std::string>& arguments);
  ~Process();
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  // The next line of its output, without the line end; empty at the end of output.
  std::string ReadLine();
  // Kills at once, and waits until the process has ended.
  void Kill();
  // The system's number of it.
  long Id() const;

 private:
  struct Native;
  std::unique_ptr<Native> native_;
};

// The name of this program, without an extension.
std::string Self();

// A name for shared memory used by no other test, and no other process.
std::string FreshName();

}  // namespace vektest
