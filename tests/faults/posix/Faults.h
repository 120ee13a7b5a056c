// Makes one chosen system call of the library fail.
//
// This program overrides operator new and the system functions used by the library. Each override checks here
// whether to fail, and otherwise calls the real function. Calls of the test are not counted: other threads
// count as inside the library from their start on, except within a TInTest; the test's thread counts as
// outside, except within a TInLibrary.
#pragma once

#include <cstdint>

namespace Faults {

enum class EKind { Memory, Thread, Socket, SharedMemory };

// Makes the `nth` call of a kind fail, once; counted from 1, 0 for none.
void Arm(EKind kind, unsigned nth) noexcept;

// Number of calls since Arm.
unsigned Counted() noexcept;
bool Fired() noexcept;

// Prints on standard error where the failed call came from, as addresses in this program.
void PrintPlace() noexcept;

// Number of blocks the library has allocated with operator new and not freed.
std::int64_t LiveBlocks() noexcept;

// For the overrides: true if this call is to fail.
bool Fails(EKind kind) noexcept;
bool IsInLibrary() noexcept;

class TInTest {
 public:
  TInTest() noexcept;
  ~TInTest();
  TInTest(const TInTest&) = delete;
  TInTest& operator=(const TInTest&) = delete;

 private:
  const bool outer_;
};

// Marks the test's calls into the library.
class TInLibrary {
 public:
  TInLibrary() noexcept;
  ~TInLibrary();
  TInLibrary(const TInLibrary&) = delete;
  TInLibrary& operator=(const TInLibrary&) = delete;

 private:
  const bool outer_;
};

template <class TCall>
auto InLibrary(const TCall& call) {
  const TInLibrary scope;
  return call();
}

}  // namespace Faults
