#pragma once

namespace Dova::Os {

// Whoever waits can be told when its thread, instead of sleeping, answers messages sent to its windows: what
// runs then is the application's. Only the innermost wait of a thread is told.
class TAnswerWatch {
 public:
  virtual void BeforeAnswer() noexcept = 0;
  virtual void AfterAnswer() noexcept = 0;

  // Of the calling thread, null: nobody; returns the one before.
  static TAnswerWatch* Set(TAnswerWatch* watch) noexcept;

 protected:
  ~TAnswerWatch() = default;
};

// Around the answering.
class TAnswerScope {
 public:
  TAnswerScope() noexcept;
  ~TAnswerScope();
  TAnswerScope(const TAnswerScope&) = delete;
  TAnswerScope& operator=(const TAnswerScope&) = delete;

  // Whether the calling thread is inside one.
  static bool IsAnswering() noexcept;

 private:
  TAnswerWatch* const watch_;
};

}  // namespace Dova::Os
