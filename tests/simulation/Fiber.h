#pragma once

namespace vektest {

// A stack of its own on which code runs until it gives the processor back. All fibers, and who resumes them,
// are on one thread of the system's.
class Fiber {
 public:
  using Entry = void (*)(void* argument);  // does not return: it ends with Suspend, and is not resumed

  Fiber();
  ~Fiber();
  Fiber(const Fiber&) = delete;
  Fiber& operator=(const Fiber&) = delete;

  // What the next Resume begins with. Only for a new fiber, or one whose entry has come to its end.
  void Begin(Entry entry, void* argument);

  void Resume();
  void Suspend();  // on the fiber

 private:
  struct Native;
  Native* native_;
};

}  // namespace vektest
