// Lets one chosen call of the library to the system fail.
//
// This program defines operator new and the system functions that the library uses itself; each asks here
// whether it is to fail, and else goes on to the real one. What the test does is not counted: a thread is in
// the library from its start on, except inside a TInTest; the thread of the test is the other way round.
#pragma once

#include <cstdint>

namespace Faults {

enum class EKind { Memory, Thread, Socket, SharedMemory };

// From now on the `nth` call of a kind fails, once; counted from 1, with 0 none does.
void Arm(EKind kind, unsigned nth) noexcept;

// Calls counted since Arm.
unsigned Counted() noexcept;
bool Fired() noexcept;

// Where the call came from that was made to fail, as addresses in this program; on standard error.
void PrintPlace() noexcept;

// Blocks that the library has taken from operator new and not given back.
std::int64_t LiveBlocks() noexcept;

// For what stands in for the system: whether this call is to fail.
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

// For the test's calls into the library.
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
