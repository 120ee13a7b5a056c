#include <thread>

#include "flat/FlatSession.h"

namespace vektest {
namespace {

class FlatSender : public FlatSession {
 protected:
  FlatSender() {
    Create();
    SignOn();
    mes->TakeSent();
    sender = CVekFlowCtrlSender_Create(&client);
    CVekFlowCtrlSender_SetFlowCtrl(&sender, 2, 100);
  }
  ~FlatSender() override { CVekFlowCtrlSender_Delete(&sender); }

  bool Send(const std::string& text) {
    std::string buffer = "     " + text;
    return CVekFlowCtrlSender_SendVekRequest(&sender, buffer.data(), static_cast<unsigned>(buffer.size()));
  }

  CVekFlowCtrlSender sender{};
};

TEST_F(FlatSender, SendsHoldsAndSendsWhatItHeld) {
  EXPECT_EQ(CVekFlowCtrlSender_IsFlowCfg(&sender), 1);
  EXPECT_TRUE(Send("w1 new\na"));
  EXPECT_TRUE(Send("w2 new\nb"));
  EXPECT_FALSE(Send("w3 new\nc"));
  EXPECT_FALSE(Send("w4 new\nd"));
  EXPECT_EQ(CVekFlowCtrlSender_PendingCount(&sender), 2u);
  EXPECT_EQ(mes->TakeSent(), Message(129, "w1 new\na") + Message(129, "w2 new\nb"));
  CVekFlowCtrlSender_AckParser(&sender, 129, nullptr);
  CVekFlowCtrlSender_AckParser(&sender, 128, "w1");
  time.Advance(1000);
  EXPECT_EQ(CVekFlowCtrlSender_PendingCount(&sender), 2u) << "nothing was acknowledged";
  CVekFlowCtrlSender_AckParser(&sender, 129, "w1");
  time.Advance(100);
  EXPECT_EQ(mes->TakeSent(), Message(129, "w3 new\nc"));
  CVekFlowCtrlSender_SetAckTime(&sender, 7, 0);
  time.Advance(100);
  EXPECT_EQ(CVekFlowCtrlSender_PendingCount(&sender), 1u) << "the third argument counts";
  CVekFlowCtrlSender_SetAckTime(&sender, 0, 1);
  time.Advance(100);
  EXPECT_EQ(mes->TakeSent(), Message(129, "w4 new\nd"));
  char buffer[] = "     ";
  EXPECT_FALSE(CVekFlowCtrlSender_SendVekRequest(&sender, buffer, 5));
  EXPECT_FALSE(CVekFlowCtrlSender_SendVekRequest(&sender, nullptr, 9));
  EXPECT_EQ(CVekFlowCtrlSender_SendVekRequests(&sender, nullptr, 9), 0u);
  EXPECT_TRUE(mes->TakeSent().empty());
}

// A session ends with orders held; the application takes them back.
TEST_F(FlatSender, WhatIsHeldCanBeTakenBackOrSentSooner) {
  for (const char* text : {"w1\na", "w2\nb", "w3\nc", "w4\nd", "w5\ne"}) Send(text);
  char text[4] = {};
  EXPECT_EQ(CVekFlowCtrlSender_TakePending(&sender, text, 3), 4u);
  EXPECT_EQ(CVekFlowCtrlSender_TakePending(&sender, text, 4), 4u);
  EXPECT_EQ(std::string(text, 4), "w3\nc");
  mes->TakeSent();
  CVekFlowCtrlSender_SetFlowCtrl(&sender, 1, 100);
  CVekFlowCtrlSender_CheckPending(&sender);
  EXPECT_EQ(mes->TakeSent(), Message(129, "w4\nd"));
  EXPECT_EQ(CVekFlowCtrlSender_DropPending(&sender), 1u);
  EXPECT_EQ(CVekFlowCtrlSender_DropPending(&sender), 0u);
}

TEST_F(FlatSender, OutlivesItsClientTellsOfItOnTheLoopAndMayBeDeletedThere) {
  struct Told {
    unsigned sent = 0;
    unsigned refused = 0;
    std::thread::id on;
    bool deletes = false;
  } told;
  const CVekFlowCtrlSenderCallbacks callbacks{
      [](CVekFlowCtrlSender* handle, void* user, unsigned sent, unsigned refused) {
        auto& now = *static_cast<Told*>(user);
        now = {sent, refused, std::this_thread::get_id(), now.deletes};
        if (now.deletes) CVekFlowCtrlSender_Delete(handle);
      }};
  CVekFlowCtrlSender_Delete(&sender);
  sender = CVekFlowCtrlSender_Create_OnMessageLoop(&client, &callbacks, &told);
  CVekFlowCtrlSender_SetFlowCtrl(&sender, 1, 100);
  for (const char* text : {"w1\na", "w2\nb", "w3\nc", "w4\nd"}) Send(text);
  const auto acknowledge = [&] {
    CVekFlowCtrlSender_SetAckTime(&sender, 0, 1);
    std::thread([&] { time.Advance(100); }).join();
  };
  acknowledge();
  EXPECT_EQ(told.sent, 0u) << "not on the timer's thread";
  CVekClient_Delete(&client);
  acknowledge();
  EXPECT_EQ(CVekMessageLoop_Dispatch(-1), 1);
  EXPECT_EQ(told.sent, 1u);
  EXPECT_EQ(told.refused, 1u);
  EXPECT_EQ(told.on, std::this_thread::get_id());
  EXPECT_EQ(CVekFlowCtrlSender_RefusedCount(&sender), 1u);
  EXPECT_EQ(CVekFlowCtrlSender_PendingCount(&sender), 1u);
  mes->TakeSent();
  told.deletes = true;
  acknowledge();
  EXPECT_EQ(CVekMessageLoop_Dispatch(-1), 1);
  EXPECT_EQ(told.refused, 1u);
  sender = {};
}

TEST_F(FlatSender, IsAGateTooAndDropsWhatItHoldsWithItsEnd) {
  for (const char* text : {"w1\na", "w2\nb", "w3\nc"}) Send(text);
  mes->TakeSent();
  CVekFlowCtrl gate{sender.object};
  EXPECT_NE(CVekFlowCtrl_CheckFlowCtrl(&gate), 0);
  CVekFlowCtrl_Delete(&gate);
  sender = {};
  time.Advance(1000);
  EXPECT_TRUE(mes->TakeSent().empty());
}

}  // namespace
}  // namespace vektest
