#include <atomic>
#include <thread>

#include "flat/FlatSession.h"
#include "vekapi/VekSessionC.h"

namespace vektest {
namespace {

class TracedClient : public FlatSession {
 protected:
  TracedClient() {
    Create();
    EXPECT_TRUE(CVekClient_SetTrace(&client, &OnTrace, this, vtl_Packets));
  }

  bool Send(int code, const std::string& text) {
    std::string buffer = std::string(5, '\0') + text;
    return CVekClient_SendVekRequest(&client, code, buffer.data(), static_cast<unsigned>(buffer.size()));
  }
  std::string Traced() { return std::exchange(traced, {}); }

  std::string traced;

 private:
  // ">128" is sent, "<128" received, "=up" a state, "!..." a note.
  static void OnTrace(CVekClient*, void* user, const CVekEvent* event) {
    auto& self = *static_cast<TracedClient*>(user);
    const std::string bytes(event->text, event->textLength);
    std::string line = "!";
    if (event->kind == vse_State) line = std::string("=") + CVekApi_Text(vst_State, event->state, 0);
    if ((event->flags & vsg_Packet) != 0) {
      line = ((event->flags & vsg_Outbound) != 0 ? ">" : "<") + std::to_string(event->code);
      EXPECT_EQ(Split(bytes).at(0).bytes, bytes);
    } else if (*event->detail) {
      line += std::string(" ") + event->detail;
    }
    if (event->cause != 0) line += " (" + std::to_string(event->cause) + ")";
    EXPECT_EQ((bytes + event->detail).find("secret"), std::string::npos);
    self.traced += std::to_string(event->link) + line + "\n";
  }
};

TEST_F(TracedClient, ShowsLinksFromBeginToEnd) {
  SignOn();
  EXPECT_EQ(Traced(), "1=connecting :TestMes:lend\n1>0\n1<0\n1>2\n1=signing on\n1<128\n1=up\n");
  Send(128, "Q1 products");
  mes->Deliver(Pack(1, "") + TaskResult("Q1", "x"));
  mes->refuseSends = true;
  std::string bare("\x09\0\x02secret", 9);
  Send(129, std::string(4091, 'x'));
  CVekClient_SendPk(&client, bare.data(), 9);
  EXPECT_EQ(Traced(),
            "1>128\n1<1\n1<128\n1>3\n1>129\n1! not sent: the link did not take it\n"
            "1>2\n1! not sent: the link did not take it\n");
  mes->refuseSends = false;
  std::string torn = "secret";
  CVekClient_SendPk(&client, torn.data(), 6);
  CVekClient_ChgPass(&client, "u", "secret", "secret2");
  mes->Break("gone");
  EXPECT_EQ(Traced(), "1! 6 bytes to be sent that are no packet\n1>2\n1=given up gone (108)\n");
  Connect();
  mes->Fail("no route");
  Connect("nowhere");
  EXPECT_EQ(Traced(),
            "2=connecting :TestMes:lend\n2=given up no route (102)\n3=connecting nowhere\n"
            "3=given up not understood in the setting: \"nowhere\" (101)\n");
  Link();
  mes->Deliver(SgnReply(0, "no"));
  CVekClient_Disconnect(&client);
  SignOn();
  CVekClient_Delete(&client);
  EXPECT_EQ(Traced(),
            "4=connecting :TestMes:lend\n4>0\n4<0\n4>2\n4=signing on\n4<2\n4=sign-on refused no (106)\n"
            "4=closed (117)\n5=connecting :TestMes:lend\n5>0\n5<0\n5>2\n5=signing on\n5<128\n"
            "5=up\n5=closed (117)\n");
}

// One thread sends, one receives, a third switches the trace. Every call has its own trace's `user`.
TEST_F(TracedClient, SwitchedWhilePacketsFlow) {
  constexpr int kCount = 2000;
  SignOn();
  CVekClient_SetTrace(&client, nullptr, nullptr, vtl_None);
  std::atomic<int> shown[2]{};
  const CVekOnTrace count = [](CVekClient*, void* user, const CVekEvent* event) {
    EXPECT_EQ(event->textLength, 6u);
    ++*static_cast<std::atomic<int>*>(user);
  };
  std::atomic<bool> done{false};
  std::thread sends([&] {
    for (int i = 0; i < kCount; ++i) EXPECT_TRUE(Send(129, "x"));
    done = true;
  });
  std::thread receives([&] {
    for (int i = 0; i < kCount; ++i) mes->Deliver(Message(130, "r"));
  });
  for (int i = 0; !done || shown[0] == 0 || shown[1] == 0; ++i) {
    CVekClient_SetTrace(&client, i % 3 == 2 ? nullptr : count, &shown[i % 2], vtl_Packets);
    if (done) Send(129, "x");
  }
  sends.join();
  receives.join();
  CVekClient_SetTrace(&client, count, &shown[0], vtl_Packets);
  shown[0] = 0;
  Send(129, "x"), mes->Deliver(Message(130, "r"));
  EXPECT_EQ(shown[0], 2);
  CVekClient_SetTrace(&client, nullptr, nullptr, vtl_None);
}

}  // namespace
}  // namespace vektest
