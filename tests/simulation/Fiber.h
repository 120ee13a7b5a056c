#pragma once

namespace vektest {

// A separate stack on which code runs until it yields the processor. All fibers, and their resumers, are on
// one system thread.
class Fiber {
 public:
  using Entry = void (*)(void* argument);  // does not return: it ends with Suspend, and is not resumed

  Fiber();
  ~Fiber();
  Fiber(const Fiber&) = delete;
  Fiber& operator=(const Fiber&) = delete;

  // Where the next Resume starts. Only for a new fiber, or one whose entry has finished.
  void Begin(Entry entry, void* argument);

  void Resume();
  void Suspend();  // on the fiber

 private:
  struct Native;
  Native* native_;
};

}  // namespace vektest
