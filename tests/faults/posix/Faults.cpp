#include "faults/posix/Faults.h"

#include <execinfo.h>
#include <unistd.h>

#include <atomic>
#include <utility>

namespace Faults {
namespace {

constinit thread_local bool inTest = false;

constinit std::atomic<EKind> armedKind{EKind::Memory};
constinit std::atomic<unsigned> armedNth{0};
constinit std::atomic<unsigned> counted{0};
constinit std::atomic<bool> fired{false};

constexpr int kFrames = 32;
void* place[kFrames];
int placeFrames = 0;

}  // namespace

void Arm(EKind kind, unsigned nth) noexcept {
  // Disarmed while the other values change: threads of the previous run may still be ending.
  armedNth = 0;
  armedKind = kind;
  counted = 0;
  fired = false;
  armedNth = nth;
}

unsigned Counted() noexcept {
  return counted;
}
bool Fired() noexcept {
  return fired;
}

void PrintPlace() noexcept {
  if (fired) backtrace_symbols_fd(place, placeFrames, STDERR_FILENO);
}

bool Fails(EKind kind) noexcept {
  if (inTest || kind != armedKind) return false;
  if (counted.fetch_add(1) + 1 != armedNth) return false;
  const TInTest scope;
  placeFrames = backtrace(place, kFrames);
  fired = true;
  return true;
}

bool IsInLibrary() noexcept {
  return !inTest;
}

TInTest::TInTest() noexcept : outer_(std::exchange(inTest, true)) {}
TInTest::~TInTest() {
  inTest = outer_;
}

TInLibrary::TInLibrary() noexcept : outer_(std::exchange(inTest, false)) {}
TInLibrary::~TInLibrary() {
  inTest = outer_;
}

}  // namespace Faults
