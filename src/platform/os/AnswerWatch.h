#pragma once

namespace Dova::Os {

// Notifies a waiting thread when it answers messages sent to its windows instead of sleeping: application
// code runs then. Only the innermost watch of a thread is notified.
class TAnswerWatch {
 public:
  virtual void BeforeAnswer() noexcept = 0;
  virtual void AfterAnswer() noexcept = 0;

  // Sets the watch of the calling thread, or none if null; returns the previous one.
  static TAnswerWatch* Set(TAnswerWatch* watch) noexcept;

 protected:
  ~TAnswerWatch() = default;
};

// Marks, for its lifetime, that the thread is answering messages.
class TAnswerScope {
 public:
  TAnswerScope() noexcept;
  ~TAnswerScope();
  TAnswerScope(const TAnswerScope&) = delete;
  TAnswerScope& operator=(const TAnswerScope&) = delete;

  // True if the calling thread is inside such a scope.
  static bool IsAnswering() noexcept;

 private:
  TAnswerWatch* const watch_;
};

}  // namespace Dova::Os
