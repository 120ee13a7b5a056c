#pragma once

#include <memory>

namespace Dova::Os {

// A loop that serves one thread's window messages until it is told to quit. Only on Windows do such threads
// have windows: elsewhere the thread sleeps, and answers what is sent, not what is posted.
class TMessageLoop {
 public:
  TMessageLoop();
  ~TMessageLoop();
  TMessageLoop(const TMessageLoop&) = delete;
  TMessageLoop& operator=(const TMessageLoop&) = delete;

  // Answers whether it is to be called again soon.
  using TChore = bool (*)() noexcept;

  // Runs on the calling thread until Quit, which may have come before. Calls `chore` when it begins, after
  // each Wake, and again every kAgainMs as long as it answers true.
  void Run(TChore chore);
  static constexpr unsigned kAgainMs = 250;

  // Any thread.
  void Wake() noexcept;
  void Quit() noexcept;

 private:
  struct TNative;
  std::unique_ptr<TNative> native_;
};

}  // namespace Dova::Os
