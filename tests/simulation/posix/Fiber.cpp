#include "simulation/Fiber.h"

#include <sys/mman.h>

#include <cstdint>
#include <cstdlib>
#include <new>

// Saves the registers that a call preserves on the stack, leaves its address in *from, and continues on the
// stack `to`, saved in the same way. The system's contexts would carry a signal mask, at the price of a
// system call for each switch.
extern "C" void vektest_switch(void** from, void* to);
asm(R"(
  .text
  .type vektest_switch, @function
vektest_switch:
  push %rbp
  push %rbx
  push %r12
  push %r13
  push %r14
  push %r15
  mov %rsp, (%rdi)
  mov %rsi, %rsp
  pop %r15
  pop %r14
  pop %r13
  pop %r12
  pop %rbx
  pop %rbp
  ret
  .size vektest_switch, . - vektest_switch
)");

namespace vektest {
namespace {

constexpr std::size_t kStackBytes = 512 * 1024;
constexpr std::size_t kSavedRegisters = 6;

}  // namespace

// Memory from the system, not from the heap, whose use is counted.
struct Fiber::Native {
  void* own;
  void* resumer;
  Entry entry;
  void* argument;
  void** stack;

  static inline Native* resumed = nullptr;

  static void Run() {
    Native* const self = resumed;
    self->entry(self->argument);
    std::abort();
  }
};

Fiber::Fiber() {
  const auto map = [](std::size_t size) {
    return mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  };
  native_ = ::new (map(sizeof(Native))) Native;
  native_->stack = static_cast<void**>(map(kStackBytes));
}

Fiber::~Fiber() {
  munmap(native_->stack, kStackBytes);
  munmap(native_, sizeof(Native));
}

// As if Run had been called by nobody, and had called vektest_switch first.
void Fiber::Begin(Entry entry, void* argument) {
  native_->entry = entry;
  native_->argument = argument;
  void** top = native_->stack + kStackBytes / sizeof(void*);
  *--top = nullptr;
  *--top = reinterpret_cast<void*>(&Native::Run);
  native_->own = top - kSavedRegisters;
}

void Fiber::Resume() {
  Native::resumed = native_;
  vektest_switch(&native_->resumer, native_->own);
}

void Fiber::Suspend() {
  vektest_switch(&native_->own, native_->resumer);
}

}  // namespace vektest
