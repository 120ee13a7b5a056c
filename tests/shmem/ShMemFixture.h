// A shared-memory messenger whose proxy link and gateway are the test.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "shmem/Process.h"
#include "shmem/TShMemCli.h"
#include "sim/SimRings.h"
#include "support/MesRecorder.h"
#include "support/SessionFixture.h"
#include "support/TVirtualTimerQueue.h"
#include "support/TestMes.h"

namespace vektest {

class ShMemTest : public testing::Test {
 protected:
  ShMemTest() { Open(); }
  ~ShMemTest() override { Close(); }

  void Open() {
    Close();
    mes = Dova::TShMemCli::Make();
    EXPECT_TRUE(mes->SettingApply("TestMes:ok"));
    mes->SetEvHandler(&events);
    const Dova::TSyncScope inside(mes->SyncContext());
    EXPECT_TRUE(mes->Open());
    proxy = TestMes::Last();
  }

  bool Create(std::uint32_t ringBytes) {
    const bool made = rings.Create(FreshName(), ringBytes);
    base = rings.BaseName();
    return made;
  }

  // The rings exist and the gateway announces them.
  void Link(std::uint32_t ringBytes = 1000) {
    ASSERT_TRUE(Create(ringBytes));
    proxy->Ready();
    proxy->TakeSent();
    proxy->Deliver("Ack:ShMemName:" + base + "\n");
    ASSERT_EQ(events.LinkLines(), Lines{"ready"});
  }
  void Close() {
    if (!mes) return;
    const Dova::TSyncScope inside(mes->SyncContext());
    mes->SetEvHandler(nullptr);
    mes->Close();
    mes.reset();
  }

  TestSupport::TVirtualTimerQueue time;
  MesRecorder events;
  Dstl::wise_ref<Dova::TMesBase> mes;
  Dstl::wise_ref<TestMes> proxy;
  std::string base;
  VekSim::SimRings rings;
};

}  // namespace vektest
