#include "simulation/Fiber.h"

#include <windows.h>

#include <cstdlib>

namespace vektest {
namespace {

constexpr SIZE_T kStackBytes = 512 * 1024;

}  // namespace

// Memory from the system, not from the heap, whose use is counted.
struct Fiber::Native {
  void* own;
  void* resumer;
  Entry entry;
  void* argument;

  // Started once: entry and argument are read again after each end.
  static void WINAPI Run(void* native) {
    auto* const self = static_cast<Native*>(native);
    self->entry(self->argument);
    std::abort();
  }
};

Fiber::Fiber()
    : native_(static_cast<Native*>(HeapAlloc(GetProcessHeap(), HEAP_ZERO_MEMORY, sizeof(Native)))) {}

Fiber::~Fiber() {
  if (native_->own) DeleteFiber(native_->own);
  HeapFree(GetProcessHeap(), 0, native_);
}

void Fiber::Begin(Entry entry, void* argument) {
  native_->entry = entry;
  native_->argument = argument;
  if (native_->own) DeleteFiber(native_->own);
  native_->own = CreateFiberEx(16 * 1024, kStackBytes, 0, &Native::Run, native_);
  if (!native_->own) std::abort();
}

void Fiber::Resume() {
  static void* const main = ConvertThreadToFiber(nullptr);
  native_->resumer = main;
  SwitchToFiber(native_->own);
}

void Fiber::Suspend() {
  SwitchToFiber(native_->resumer);
}

}  // namespace vektest
