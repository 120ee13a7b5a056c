#include "simulation/Fiber.h"

#include <setjmp.h>
#include <sys/mman.h>
#include <ucontext.h>

#include <cstdint>
#include <cstdlib>
#include <new>

namespace vektest {
namespace {

constexpr std::size_t kStackBytes = 512 * 1024;

}  // namespace

// Memory from the system, not from the heap, whose use is counted. The system's contexts carry a signal mask,
// which costs a system call per switch: they are used only to start a fiber; later switches jump.
struct Fiber::Native {
  ucontext_t own;
  ucontext_t resumer;
  jmp_buf ownPlace;
  jmp_buf resumerPlace;
  bool begun;
  Entry entry;
  void* argument;
  void* stack;

  static void Run(unsigned high, unsigned low) {
    auto* const self = reinterpret_cast<Native*>(std::uintptr_t{high} << 32 | low);
    self->entry(self->argument);
    std::abort();
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
  if (_setjmp(native_->resumerPlace) != 0) return;
  if (native_->begun) _longjmp(native_->ownPlace, 1);
  native_->begun = true;
  swapcontext(&native_->resumer, &native_->own);
}

void Fiber::Suspend() {
  if (_setjmp(native_->ownPlace) == 0) _longjmp(native_->resumerPlace, 1);
}

}  // namespace vektest
