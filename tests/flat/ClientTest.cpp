#include <stdexcept>

#include "flat/LoopSession.h"

namespace vektest {
namespace {

// On a loop in the order of the wire, on its thread.
TEST_F(LoopSession, BringsEveryEventWithItsArguments) {
  const std::string unknown = Pack(77, std::string("a\0b", 3));
  for (const bool onLoop : {false, true}) {
    onLoop ? CreateOnLoop() : Create();
    EXPECT_EQ(CVekClient_State(&client), cvcs_None);
    onEvent = [&, here = std::this_thread::get_id()](CVekClient* handle, const std::string& line) {
      EXPECT_TRUE(!onLoop || std::this_thread::get_id() == here) << line;
      EXPECT_EQ(client.object, line == "destroy" ? nullptr : handle->object);
    };
    ASSERT_TRUE(Connect());
    ServeWhile([&] {
      mes->Ready();
      mes->Deliver(ConnectResult(false, {}));
      EXPECT_TRUE(CVekClient_IsSessionConnected(&client));
      mes->Deliver(SgnResult() + TaskResult("w7", "\x02T\n") + Message(130, "\xA7\xB9 filled") +
                   ChgPassResult("id", "changed") + Message(129, "w1\nw2") + unknown +
                   TaskResult("w8", "\x02T\n") + Message(130, "last"));
    });
    DispatchAll();
    EXPECT_EQ(Take(),
              (Lines{"connect 2 ", "ready", "result w7", "report \xA7\xB9 filled", "chgpass id changed",
                     "ack 129 w1\nw2", "unknown 77 " + unknown, "result w8", "report last"}));
    CVekClient_Disconnect(&client);
    EXPECT_EQ(lines.size(), onLoop ? 0u : 1u) << "events of the loop thread's own calls are queued, too";
    DispatchAll();
    CVekClient_Delete(&client);
    EXPECT_EQ(client.object, nullptr);
    EXPECT_EQ(Take(), (Lines{"connect -1 Disconnect()", "destroy"}));
  }
  onEvent = nullptr;
}

TEST_F(FlatSession, NullEntriesDropTheirEvents) {
  CVekClientCallbacks only{};
  only.OnVekConnectEvent = Recording().OnVekConnectEvent;
  Create(only);
  only = {};  // the table was copied
  SignOn();
  mes->Deliver(TaskResult("w7", "\x02T\n") + ChgPassResult("id", "x") + Message(129, "w1") +
               Message(130, "r") + Pack(77, ""));
  mes->Break("gone");
  CVekClient_Delete(&client);
  EXPECT_EQ(Take(), (Lines{"connect 2 ", "connect -3 gone"}));
  client = CVekClient_Create(nullptr, nullptr);
  SignOn();
  EXPECT_EQ(CVekClient_State(&client), cvcs_ApReady);
}

TEST_F(FlatSession, ConnectRefusesNullTextsButThePassword) {
  Create();
  const char* const texts[] = {":TestMes:lend", "App", "1.2", "id", "sub"};
  for (int missing = 0; missing < 5; ++missing) {
    const auto text = [&](int i) { return i == missing ? nullptr : texts[i]; };
    EXPECT_FALSE(CVekClient_Connect(&client, text(0), text(1), text(2), text(3), text(4), "secret"));
  }
  EXPECT_EQ(CVekClient_State(&client), cvcs_None);
  ASSERT_TRUE(Connect(":TestMes:lend", nullptr));
  mes->Ready();
  mes->TakeSent();
  mes->Deliver(ConnectResult(false, {}));
  const std::string signOn = Split(mes->TakeSent()).at(0).bytes;
  EXPECT_EQ(signOn.size(), 12u + 6u);  // "id/sub" and nothing
  EXPECT_EQ(signOn[7], 0);
}

TEST_F(FlatSession, OpenErrorsComeAsEvents) {
  Create();
  EXPECT_TRUE(Connect(":Nowhere:at all"));
  const Lines seen = Take();
  ASSERT_EQ(seen, (Lines{"connect -2 \xB3\x73\xBD\x75\xB0\xD1\xBC\xC6\xBF\xF9\xBB\x7E"}));
  EXPECT_EQ(CVekApi_ReasonOf(seen[0].c_str() + 11), cvre_BadSetting);
  EXPECT_EQ(CVekApi_ReasonOf("connection refused"), cvre_Other);
}

TEST_F(FlatSession, ChangesThePassword) {
  Create();
  EXPECT_FALSE(CVekClient_ChgPass(&client, "id", "old", "new"));
  SignOn();
  mes->TakeSent();
  EXPECT_FALSE(CVekClient_ChgPass(&client, nullptr, "old", "new"));
  EXPECT_TRUE(mes->TakeSent().empty());
  EXPECT_TRUE(CVekClient_ChgPass(&client, "id", nullptr, "new"));
  EXPECT_EQ(mes->TakeSent(), Pack(2, std::string("\1\2\0\3idnew", 9)));
  EXPECT_TRUE(CVekClient_ChgPass(&client, "id", "old", nullptr));
  EXPECT_EQ(mes->TakeSent(), Pack(2, std::string("\1\2\3\0idold", 9)));
}

TEST_F(FlatSession, SendsRequestsAndPackets) {
  Create();
  SignOn();  // five queries a second
  mes->TakeSent();
  char request[] = "     w1 products";
  EXPECT_TRUE(CVekClient_SendVekRequest(&client, 129, request, 16));
  EXPECT_EQ(mes->TakeSent(), Message(129, "w1 products"));
  for (int i = 0; i < 4; ++i) EXPECT_TRUE(CVekClient_SendVekRequest(&client, 128, request, 16));
  EXPECT_EQ(CVekClient_SendVekQueryRequest(&client, request, 16), 0);
  EXPECT_EQ(CVekClient_SendVekQueryRequest(&client, request, 16), 1000);
  EXPECT_FALSE(CVekClient_SendVekRequest(&client, 128, request, 16));
  time.Advance(1000);
  EXPECT_EQ(CVekClient_SendVekQueryRequest(&client, request, 5), -1);
  EXPECT_STREQ(CVekClient_ServerName(&client), "GW.2.0.1.15");
  EXPECT_FALSE(CVekClient_SendVekRequest(&client, 129, request, 5));
  mes->TakeSent();

  std::string packet = Pack(9, "body");
  EXPECT_TRUE(CVekClient_SendPk(&client, packet.data(), static_cast<int>(packet.size())));
  EXPECT_EQ(mes->TakeSent(), Pack(9, "body"));
  mes->refuseSends = true;
  EXPECT_FALSE(CVekClient_SendPk(&client, packet.data(), static_cast<int>(packet.size())));
  EXPECT_FALSE(CVekClient_SendPk(&client, nullptr, 7));
  EXPECT_FALSE(CVekClient_SendVekRequest(&client, 129, nullptr, 7));
}

TEST_F(FlatSession, ScramblesAPacketInPlace) {
  Create();
  Connect();
  mes->Ready();
  mes->Deliver(ConnectResult(false, {{"VekEnc\n", EncItem(1, "key")}}));
  std::string packet = Pack(9, "body text");
  CVekClient_EncPacket(&client, packet.data(), static_cast<int>(packet.size()));
  EXPECT_EQ(packet, Scrambled(Pack(9, "body text"), "key"));
  CVekClient_EncPacket(&client, nullptr, 12);
}

TEST_F(FlatSession, DeletingAgainInsideTheDestroyEventDoesNothing) {
  Create();
  SignOn();
  Take();
  int stateInside = cvcs_None;
  onEvent = [&](CVekClient* handle, const std::string&) {
    stateInside = CVekClient_State(handle);
    CVekClient_Delete(handle);
    CVekClient_Delete(&client);
  };
  CVekClient_Delete(&client);
  EXPECT_EQ(Take(), Lines{"destroy"});
  EXPECT_EQ(stateInside, cvcs_ApReady);
  EXPECT_EQ(client.object, nullptr);
  CVekClient_Delete(&client);
  EXPECT_EQ(Take(), Lines{});
}

TEST_F(FlatSession, WhatACallbackThrowsIsDropped) {
  Create();
  onEvent = [](CVekClient*, const std::string& line) { throw std::runtime_error(line); };
  EXPECT_TRUE(Connect());
  mes->Ready();
  mes->Deliver(ConnectResult(false, {}) + SgnResult() + TaskResult("w", "\x02T\n") + Message(129, "w1") +
               Message(130, "r") + ChgPassResult("id", "x") + Pack(77, ""));
  EXPECT_EQ(lines.size(), 7u) << "every event after one that threw still came";
  EXPECT_EQ(CVekClient_State(&client), cvcs_ApReady);
  CVekClient_Disconnect(&client);
  CVekClient_Delete(&client);
  EXPECT_EQ(lines.size(), 9u);
}

}  // namespace
}  // namespace vektest
