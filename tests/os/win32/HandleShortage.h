// A system that has no handles to give, as a test says.
#pragma once

#include <memory>

namespace TestSupport {

enum EHandle : unsigned { kEvents = 1, kTimers = 2 };

// Refuses these kinds for its life, in which somebody has to ask for each.
class TRefusing {
 public:
  explicit TRefusing(unsigned kinds);
  ~TRefusing();
  TRefusing(const TRefusing&) = delete;
  TRefusing& operator=(const TRefusing&) = delete;

 private:
  const unsigned kinds_;
};

template <class TObject>
std::unique_ptr<TObject> MadeWithout(unsigned kinds) {
  const TRefusing refusing(kinds);
  return std::make_unique<TObject>();
}

}  // namespace TestSupport
