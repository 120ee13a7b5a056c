#include "simulation/Fiber.h"

#include <setjmp.h>
#include <sys/mman.h>
#include <ucontext.h>

#include <cstdint>
#include <cstdlib>
#include <new>

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/common_interface_defs.h>
#endif

namespace vektest {
namespace {

constexpr std::size_t kStackBytes = 512 * 1024;

// Contexts of the system's carry a signal mask, which costs a call at each change: they are only begun with.
// Sanitizers follow nothing else.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kJumps = false;
#else
constexpr bool kJumps = true;
#endif

}  // namespace

// Memory of the system's, not of the heap, whose use is counted.
struct Fiber::Native {
  ucontext_t own;
  ucontext_t resumer;
  jmp_buf ownPlace;
  jmp_buf resumerPlace;
  bool begun;
  Entry entry;
  void* argument;
  void* stack;
  void* fake = nullptr;  // the sanitizer's
  void* fakeResumer = nullptr;
  const void* resumerStack = nullptr;
  std::size_t resumerBytes = 0;

  static void Run(unsigned high, unsigned low) {
    auto* const self = reinterpret_cast<Native*>(std::uintptr_t{high} << 32 | low);
    self->Arrived(nullptr);
    self->entry(self->argument);
    std::abort();
  }
  void Arrived([[maybe_unused]] void* saved) {
#if defined(__SANITIZE_ADDRESS__)
    __sanitizer_finish_switch_fiber(saved, &resumerStack, &resumerBytes);
#endif
  }
};

Fiber::Fiber() {
  const auto map = [](std::size_t size) {
    return mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  };
  native_ = ::new (map(sizeof(Native))) Native;
  native_->stack = map(kStackBytes);
}

Fiber::~Fiber() {
  munmap(native_->stack, kStackBytes);
  munmap(native_, sizeof(Native));
}

void Fiber::Begin(Entry entry, void* argument) {
  native_->entry = entry;
  native_->argument = argument;
  native_->fake = nullptr;
  native_->begun = false;
  getcontext(&native_->own);
  native_->own.uc_stack.ss_sp = native_->stack;
  native_->own.uc_stack.ss_size = kStackBytes;
  native_->own.uc_link = nullptr;
  const auto self = reinterpret_cast<std::uintptr_t>(native_);
  makecontext(&native_->own, reinterpret_cast<void (*)()>(&Native::Run), 2, static_cast<unsigned>(self >> 32),
              static_cast<unsigned>(self & 0xFFFFFFFF));
}

void Fiber::Resume() {
  if (kJumps && _setjmp(native_->resumerPlace) != 0) return;
  if (kJumps && native_->begun) _longjmp(native_->ownPlace, 1);
  native_->begun = true;
#if defined(__SANITIZE_ADDRESS__)
  __sanitizer_start_switch_fiber(&native_->fakeResumer, native_->stack, kStackBytes);
#endif
  swapcontext(&native_->resumer, &native_->own);
#if defined(__SANITIZE_ADDRESS__)
  __sanitizer_finish_switch_fiber(native_->fakeResumer, nullptr, nullptr);
#endif
}

void Fiber::Suspend() {
  if (kJumps) {
    if (_setjmp(native_->ownPlace) == 0) _longjmp(native_->resumerPlace, 1);
    return;
  }
#if defined(__SANITIZE_ADDRESS__)
  __sanitizer_start_switch_fiber(&native_->fake, native_->resumerStack, native_->resumerBytes);
#endif
  swapcontext(&native_->own, &native_->resumer);
  native_->Arrived(native_->fake);
}

}  // namespace vektest
