// Another process.
#pragma once

#include <memory>
#include <string>
#include <vector>

namespace vektest {

// A program of this build's folder. Its standard input ends when this goes out of scope; one that then runs
// on is killed after a while.
class Process {
 public:
  Process(const std::string& program, const std::vector<std::string>& arguments);
  ~Process();
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  // The next line it prints, without its end; empty when it prints no more.
  std::string ReadLine();
  // At once, and waits until it is gone.
  void Kill();

 private:
  struct Native;
  std::unique_ptr<Native> native_;
};

// The name of this program, without an ending.
std::string Self();

// A name for shared memory of this process's that no other test, and no other process, uses.
std::string FreshName();

}  // namespace vektest
