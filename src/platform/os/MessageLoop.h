#pragma once

#include <memory>

namespace Dova::Os {

// Serves one thread's window messages until told to quit. Only on Windows such threads have windows;
// elsewhere the thread sleeps and answers sent messages, not posted ones.
class TMessageLoop {
 public:
  TMessageLoop();
  ~TMessageLoop();
  TMessageLoop(const TMessageLoop&) = delete;
  TMessageLoop& operator=(const TMessageLoop&) = delete;

  // Returns true to be called again soon.
  using TChore = bool (*)() noexcept;

  // Runs on the calling thread until Quit, which may precede it. Calls `chore` at the start, after each Wake,
  // and every kAgainMs while it returns true.
  void Run(TChore chore);
  static constexpr unsigned kAgainMs = 250;

  // Thread-safe.
  void Wake() noexcept;
  void Quit() noexcept;

 private:
  struct TNative;
  std::unique_ptr<TNative> native_;
};

}  // namespace Dova::Os
