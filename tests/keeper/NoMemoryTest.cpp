// Every allocation of a session fails once: the call reports it, or the link ends, and the records stay
// consistent.
#include <gtest/gtest.h>

#include <cstdlib>
#include <new>

#include "keeper/KeptSession.h"
#include "support/TVirtualTimerQueue.h"
#include "support/TestMes.h"
#include "support/Wire.h"

namespace {

thread_local long failAt = -1;  // allocations until the failing one; negative: none

bool Fails() {
  return failAt >= 0 && failAt-- == 0;
}

}  // namespace

void* operator new(std::size_t size) {
  void* const memory = Fails() ? nullptr : std::malloc(size);
  if (!memory) throw std::bad_alloc();
  return memory;
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}

namespace vektest {
namespace {

struct TTold {
  std::size_t fates = 0;
  int last = 0;
};

void Count(CVekSession*, void* user, const CVekEvent* event) {
  auto& told = *static_cast<TTold*>(user);
  told.fates += event->kind == vse_Fate;
  told.last = event->state;
}

TEST(NoMemory, ARequestIsTakenOrNot) {
  bool failed = true;
  for (long at = 0; failed; ++at) {
    const TestSupport::TVirtualTimerQueue time;
    TTold told;
    CVekSessionConfig config = KeptSession::Config();
    config.onEvent = &Count;
    config.user = &told;
    config.rateCount = 2;
    config.rateMs = 1000;
    CVekSession session = CVekSession_Create(&config, nullptr);
    CVekSession_AddEndpoint(&session, ":TestMes:lend");
    CVekSession_Open(&session);
    const auto mes = TestMes::Last();
    mes->Ready();
    mes->Deliver(ConnectResult(false, {}) + SgnResult());
    const std::string text = std::string(100, 'x') + "\nb";
    CVekSubmit request = KeptSession::Request(129, nullptr, text);
    std::size_t taken = 0;
    failAt = at;
    for (int i = 0; i < 40; ++i) taken += CVekSession_Submit(&session, &request, nullptr) == 0;
    failed = failAt < 0;
    failAt = -1;
    EXPECT_GE(taken + 1, 40U);
    EXPECT_EQ(CVekSession_Submit(&session, &request, nullptr), 0);
    CVekSession_Delete(&session);
    EXPECT_EQ(told.fates, taken + 1) << at;
    EXPECT_EQ(told.last, vss_Closed);
  }
}

}  // namespace
}  // namespace vektest
