#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <thread>

#include "support/TVirtualTimerQueue.h"
#include "vekapi/VekApiC.h"

namespace {

struct FlatGate : testing::Test {
  ~FlatGate() override { CVekFlowCtrl_Delete(&gate); }

  void Create(CVekOnFlowCtrlFree onFree) {
    CVekFlowCtrlCallbacks callbacks{onFree};
    gate = CVekFlowCtrl_Create(&callbacks, this);
    callbacks.OnVekFlowCtrlFree = nullptr;  // the table was copied
  }
  // Uses both slots of a gate of two requests in 100 ms.
  void Fill() {
    CVekFlowCtrl_SetFlowCtrl(&gate, 2, 100);
    EXPECT_EQ(CVekFlowCtrl_CheckFlowCtrl(&gate), 0);
    EXPECT_EQ(CVekFlowCtrl_CheckFlowCtrl(&gate), 0);
    EXPECT_NE(CVekFlowCtrl_CheckFlowCtrl(&gate), 0);
  }
  static void Count(CVekFlowCtrl* handle, void* user) {
    auto& self = *static_cast<FlatGate*>(user);
    EXPECT_EQ(handle->object, self.gate.object);
    EXPECT_EQ(CVekFlowCtrl_CheckFlowCtrl(handle), 0);
    ++self.events;
  }

  TestSupport::TVirtualTimerQueue time;
  CVekFlowCtrl gate{};
  int events = 0;
};

TEST_F(FlatGate, TellsWhenItIsFreeAgain) {
  Create(&FlatGate::Count);
  Fill();
  CVekFlowCtrl_SetAckTime(&gate, 1);
  EXPECT_EQ(events, 0);
  time.Advance(100);
  EXPECT_EQ(events, 1);
  CVekFlowCtrl_SetAckTime(&gate, 2);
  CVekFlowCtrl_StartCheckTimer(&gate);
  time.Advance(100);
  EXPECT_EQ(events, 2);
}

TEST_F(FlatGate, WhatACallbackThrowsIsDropped) {
  Create([](CVekFlowCtrl*, void* user) {
    ++static_cast<FlatGate*>(user)->events;
    throw std::runtime_error("from a callback");
  });
  Fill();
  CVekFlowCtrl_SetAckTime(&gate, 2);
  time.Advance(100);
  EXPECT_EQ(events, 1);
  CVekFlowCtrl_StartCheckTimer(&gate);  // the locks were released: this would hang or throw otherwise
  EXPECT_EQ(events, 2);
}

TEST_F(FlatGate, LockKeepsOtherThreadsOutAndMayBeTakenAgain) {
  Create(&FlatGate::Count);
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
  for (const bool byTimer : {false, true}) {
    events = 0;
    Create([](CVekFlowCtrl* handle, void* user) {
      ++static_cast<FlatGate*>(user)->events;
      CVekFlowCtrl_Delete(handle);
      EXPECT_EQ(handle->object, nullptr);
    });
    CVekFlowCtrl_SetFlowCtrl(&gate, 1, 100);
    if (byTimer) {
      EXPECT_EQ(CVekFlowCtrl_CheckFlowCtrl(&gate), 0);
      CVekFlowCtrl_SetAckTime(&gate, 1);
    } else {
      CVekFlowCtrl_StartCheckTimer(&gate);
    }
    time.Advance(1000);
    EXPECT_EQ(events, 1);
    gate = {};
  }
}

struct FlatLoopGate : FlatGate {
  void CreateOnLoop(CVekOnFlowCtrlFree onFree) {
    const CVekFlowCtrlCallbacks callbacks{onFree};
    gate = CVekFlowCtrl_Create_OnMessageLoop(&callbacks, this);
    ASSERT_NE(gate.object, nullptr);
  }
  // Runs the timer.
  void Pass(unsigned ms) {
    std::thread([&] { time.Advance(ms); }).join();
  }
};

TEST_F(FlatLoopGate, TellsOnItsOwnThreadOnceForWhatGathered) {
  CreateOnLoop([](CVekFlowCtrl* handle, void* user) {
    auto& self = *static_cast<FlatLoopGate*>(user);
    ++self.events;
    // No lock is held: another thread can use the gate meanwhile.
    std::thread([=] { CVekFlowCtrl_CheckFlowCtrl(handle); }).join();
  });
  Fill();
  CVekFlowCtrl_SetAckTime(&gate, 1);
  Pass(100);
  CVekFlowCtrl_StartCheckTimer(&gate);
  EXPECT_EQ(events, 0) << "nothing comes outside the loop";
  EXPECT_EQ(CVekMessageLoop_Dispatch(-1), 1);
  EXPECT_EQ(events, 1);
  EXPECT_EQ(CVekMessageLoop_Dispatch(0), 0);
  CVekFlowCtrl_SetAckTime(&gate, 2);
  Pass(100);
  CVekFlowCtrl_Delete(&gate);
  CVekMessageLoop_Dispatch(0);
  EXPECT_EQ(events, 1) << "none comes after the deletion";
}

TEST_F(FlatLoopGate, MayBeDeletedInItsOwnCallback) {
  CreateOnLoop([](CVekFlowCtrl* handle, void* user) {
    ++static_cast<FlatLoopGate*>(user)->events;
    CVekFlowCtrl_Delete(handle);
  });
  CVekFlowCtrl_SetFlowCtrl(&gate, 1, 100);
  CVekFlowCtrl_StartCheckTimer(&gate);
  EXPECT_EQ(CVekMessageLoop_Dispatch(-1), 1);
  EXPECT_EQ(events, 1);
  gate = {};
}

TEST_F(FlatGate, DeletedTwiceIsDeletedOnce) {
  Create(&FlatGate::Count);
  Fill();
  CVekFlowCtrl_SetAckTime(&gate, 1);
  CVekFlowCtrl_Delete(&gate);
  EXPECT_EQ(gate.object, nullptr);
  CVekFlowCtrl_Delete(&gate);
  time.Advance(1000);
  EXPECT_EQ(events, 0);
}

}  // namespace
