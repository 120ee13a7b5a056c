// Every system call fails once, in a whole session: nothing ends the program, hangs, goes unreported, or is
// leaked.
//
// Of numerous calls only every n-th is tried, to finish in time on every build: VEKAPI_FAULTS_OFFSET=N shifts
// the selection by N, VEKAPI_FAULTS_ALL=1 tries all. VEKAPI_FAULTS_FROM=N starts with the N-th call,
// VEKAPI_FAULT=N tries only that one.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <new>
#include <string>

#include "faults/posix/Faults.h"
#include "faults/posix/Scenario.h"
#include "faults/posix/Servers.h"
#include "platform/os/NamedEvent.h"
#include "shmem/Process.h"
#include "support/Held.h"
#include "support/Watchdog.h"

namespace Faults {
namespace {

// ---- one run ----

void RunScenario(TestSupport::TVirtualTimerQueue& time, const std::string& setting) {
  TSession session(time, setting);
  session.RefusedSignOn();
  session.Query("W1 products");
  session.PacedOrders();
  session.Query("W2 products\nx=" + std::string(300'000, 'x'));
  session.Query("W3 ticks\nrows=8000");
  session.ChangePassword();
  session.Reconnect();
  session.Disconnect();
  session.DeleteWhileConnecting();
  session.DeleteInsideReady();
  session.DeleteWhileUp();
}

unsigned place = 0;

unsigned FromEnvironment(const char* name, unsigned otherwise) {
  const char* const text = std::getenv(name);
  return text ? static_cast<unsigned>(std::atoi(text)) : otherwise;
}

[[noreturn]] void TellPlace() {
  std::fprintf(stderr, "terminate at place %u\n", place);
  PrintPlace();
  std::abort();
}

TestSupport::THeld Held() {
  TestSupport::THeld held = TestSupport::Held();
  held["blocks"] = static_cast<std::size_t>(LiveBlocks());
  return held;
}

class Sweep : public testing::TestWithParam<std::tuple<bool, EKind>> {
 protected:
  static std::string Setting() { return std::get<0>(GetParam()) ? Settings().sharedMemory : Settings().tcp; }

  void WarmUp() {
    TestSupport::THeld before = Held();
    Arm(std::get<1>(GetParam()), 0);
    RunScenario(time, Setting());
    before["blocks"] = SIZE_MAX;  // some are allocated once and kept
    TestSupport::SettlesTo(before, &Held);
  }

  // False if it completed before the `nth` call.
  bool Run(unsigned nth) {
    place = nth;
    const int failures = Failures();
    const TestSupport::THeld before = Held();
    Arm(std::get<1>(GetParam()), nth);
    EXPECT_NO_THROW(RunScenario(time, Setting()));
    TestSupport::SettlesTo(before, &Held);
    if (Failures() != failures) {
      std::fprintf(stderr, "place %u\n", nth);
      PrintPlace();
    }
    return Fired();
  }

  static int Failures() {
    return testing::UnitTest::GetInstance()->current_test_info()->result()->total_part_count();
  }

  // Detached threads may hold a link, and its timers, beyond the run.
  TestSupport::TVirtualTimerQueue time;
};

// The distance from one tried call to the next.
unsigned Stride(EKind kind) {
  if (FromEnvironment("VEKAPI_FAULTS_ALL", 0) != 0) return 1;
  static constexpr unsigned kStrides[] = {11, 1, 3, 11};
  return kStrides[static_cast<int>(kind)];
}

TEST_P(Sweep, EveryCallFailsOnce) {
  std::set_terminate(&TellPlace);
  TestSupport::TWatchdog watchdog("first run", 120, [] { PrintPlace(); });
  WarmUp();
  if (const unsigned only = FromEnvironment("VEKAPI_FAULT", 0)) return void(Run(only));
  const unsigned stride = Stride(std::get<1>(GetParam()));
  unsigned nth =
      FromEnvironment("VEKAPI_FAULTS_FROM", 1) + FromEnvironment("VEKAPI_FAULTS_OFFSET", 0) % stride;
  unsigned tried = 0;
  unsigned most = 0;
  for (; Run(nth); nth += stride, ++tried) {
    most = nth;
    watchdog.GoesOn("place " + std::to_string(nth + stride));
  }
  // The last run did not reach a call of that number, so all its calls are counted; runs differ in their
  // number.
  std::printf("%u of %u places tried\n", tried, std::max(most, Counted()));
}

// Every allocation, not every n-th.
TEST(SharedObjects, OpenedWithoutMemoryTheyLeaveNothing) {
  const std::string name = Dova::Os::OwnName(vektest::FreshName());
  Dova::Os::TNamedMapping ring;
  Dova::Os::TNamedEvent event;
  ASSERT_TRUE(ring.Open(name, 4096, Dova::Os::EOpen::Make) && event.Open(name, Dova::Os::EOpen::Make));
  const auto open = [&](Dova::Os::EOpen how, const std::string& which) {
    Dova::Os::TNamedMapping otherRing;
    Dova::Os::TNamedEvent otherEvent;
    otherRing.Open(which, 4096, how);
    otherEvent.Open(which, how);
  };
  for (const auto how : {Dova::Os::EOpen::Make, Dova::Os::EOpen::Join}) {
    const std::string which = how == Dova::Os::EOpen::Make ? Dova::Os::OwnName(vektest::FreshName()) : name;
    const TestSupport::THeld before = TestSupport::Held();
    unsigned nth = 0;
    do {
      Arm(EKind::Memory, ++nth);
      try {
        InLibrary([&] { open(how, which); });
      } catch (const std::bad_alloc&) {
      }
      ASSERT_TRUE(TestSupport::SettlesTo(before)) << "allocation " << nth;
    } while (Fired());
  }
}

std::string Name(const testing::TestParamInfo<Sweep::ParamType>& info) {
  static const char* const kKinds[] = {"Memory", "Threads", "Sockets", "SharedMemory"};
  return std::string(kKinds[static_cast<int>(std::get<1>(info.param))]) +
         (std::get<0>(info.param) ? "OverSharedMemory" : "OverTcp");
}

INSTANTIATE_TEST_SUITE_P(Faults, Sweep,
                         testing::Values(std::tuple(false, EKind::Memory), std::tuple(false, EKind::Thread),
                                         std::tuple(false, EKind::Socket), std::tuple(true, EKind::Memory),
                                         std::tuple(true, EKind::Thread), std::tuple(true, EKind::Socket),
                                         std::tuple(true, EKind::SharedMemory)),
                         &Name);

}  // namespace
}  // namespace Faults
