#pragma once

#include <memory>

namespace Dova::Os {

// A loop that serves one thread's messages until it is told to quit. On Windows these are window messages;
// elsewhere there are none, and the thread sleeps.
class TMessageLoop {
 public:
  TMessageLoop();
  ~TMessageLoop();
  TMessageLoop(const TMessageLoop&) = delete;
  TMessageLoop& operator=(const TMessageLoop&) = delete;

  // Runs on the calling thread until Quit, which may have come before.
  void Run();

  // Any thread.
  void Quit() noexcept;

 private:
  struct TNative;
  std::unique_ptr<TNative> native_;
};

}  // namespace Dova::Os
