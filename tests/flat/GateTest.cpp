#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <thread>

#include "support/TVirtualTimerQueue.h"
#include "vekapi/VekApiC.h"

namespace vektest {
namespace {

using CreateGate = CVekFlowCtrl (*)(const CVekFlowCtrlCallbacks*, void*);

// A gate of two requests in 100 ms with both slots in use.
struct FlatGate : testing::Test {
  ~FlatGate() override { CVekFlowCtrl_Delete(&gate); }

  void Create(CVekOnFlowCtrlFree onFree, CreateGate create = CVekFlowCtrl_Create) {
    CVekFlowCtrlCallbacks callbacks{onFree};
    gate = create(&callbacks, this);
    callbacks.OnVekFlowCtrlFree = nullptr;  // the table was copied
    events = 0;
    Fill();
  }
  void Fill() {
    CVekFlowCtrl_SetFlowCtrl(&gate, 2, 100);
    EXPECT_EQ(CVekFlowCtrl_CheckFlowCtrl(&gate), 0);
    EXPECT_EQ(CVekFlowCtrl_CheckFlowCtrl(&gate), 0);
    EXPECT_NE(CVekFlowCtrl_CheckFlowCtrl(&gate), 0);
  }
  // Runs the timer on a thread other than the loop's.
  void Acknowledge(unsigned count) {
    CVekFlowCtrl_SetAckTime(&gate, count);
    std::thread([&] { time.Advance(100); }).join();
  }

  TestSupport::TVirtualTimerQueue time;
  CVekFlowCtrl gate{};
  int events = 0;
};

FlatGate& Of(void* user) {
  return *static_cast<FlatGate*>(user);
}

TEST_F(FlatGate, TellsWhenItIsFreeAgainWhateverItsCallbackThrows) {
  Create([](CVekFlowCtrl* handle, void* user) {
    EXPECT_EQ(handle->object, Of(user).gate.object);
    EXPECT_EQ(CVekFlowCtrl_CheckFlowCtrl(handle), 0);
    ++Of(user).events;
    throw std::runtime_error("from a callback");
  });
  Acknowledge(1);
  EXPECT_EQ(events, 1);
  CVekFlowCtrl_SetAckTime(&gate, 2);
  CVekFlowCtrl_StartCheckTimer(&gate);
  time.Advance(100);
  EXPECT_EQ(events, 2) << "the locks were released";
}

TEST_F(FlatGate, LockKeepsOtherThreadsOutAndMayBeTakenAgain) {
  Create(nullptr);
  CVekFlowCtrl_Lock(&gate);
  CVekFlowCtrl_Lock(&gate);
  std::atomic<bool> released{false};
  bool releasedWhenIn = false;
  std::thread other([&] {
    CVekFlowCtrl_Lock(&gate);
    releasedWhenIn = released;
    CVekFlowCtrl_Unlock(&gate);
  });
  Fill();
  CVekFlowCtrl_Unlock(&gate);
  Fill();
  released = true;
  CVekFlowCtrl_Unlock(&gate);
  other.join();
  EXPECT_TRUE(releasedWhenIn);
}

TEST_F(FlatGate, MayBeDeletedInItsOwnCallback) {
  for (const CreateGate create : {CVekFlowCtrl_Create, CVekFlowCtrl_Create_OnMessageLoop}) {
    for (const bool byTimer : {false, true}) {
      Create(
          [](CVekFlowCtrl* handle, void* user) {
            ++Of(user).events;
            CVekFlowCtrl_Delete(handle);
            EXPECT_EQ(handle->object, nullptr);
          },
          create);
      if (!byTimer) CVekFlowCtrl_SetFlowCtrl(&gate, 1, 100);
      if (byTimer) CVekFlowCtrl_SetAckTime(&gate, 1);
      if (!byTimer) CVekFlowCtrl_StartCheckTimer(&gate);
      time.Advance(1000);
      CVekMessageLoop_Dispatch(0);
      EXPECT_EQ(events, 1);
      gate = {};
    }
  }
}

TEST_F(FlatGate, TellsOnItsLoopsThreadOnceForWhatGathered) {
  Create(
      [](CVekFlowCtrl* handle, void* user) {
        ++Of(user).events;
        // No lock is held: another thread can use the gate meanwhile.
        std::thread([=] { CVekFlowCtrl_CheckFlowCtrl(handle); }).join();
      },
      CVekFlowCtrl_Create_OnMessageLoop);
  Acknowledge(1);
  CVekFlowCtrl_StartCheckTimer(&gate);
  EXPECT_EQ(events, 0) << "nothing comes outside the loop";
  EXPECT_EQ(CVekMessageLoop_Dispatch(-1), 1);
  EXPECT_EQ(events, 1);
  EXPECT_EQ(CVekMessageLoop_Dispatch(0), 0);
  Acknowledge(2);
  CVekFlowCtrl_Delete(&gate);
  EXPECT_EQ(gate.object, nullptr);
  CVekFlowCtrl_Delete(&gate);
  CVekMessageLoop_Dispatch(0);
  time.Advance(1000);
  EXPECT_EQ(events, 1) << "none comes after the deletion";
}

}  // namespace
}  // namespace vektest
