// Simulates a system without free handles.
#pragma once

#include <memory>

namespace TestSupport {

enum EHandle : unsigned { kEvents = 1, kTimers = 2 };

// Refuses these kinds of handles during its lifetime, in which each must be requested.
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
