// What the sender sends, holds and drops. Its client's messenger is the test, in virtual time.
#include <deque>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "support/SessionFixture.h"
#include "vekapi/VekFlowCtrlSender.h"

namespace vektest {
namespace {

class SenderTest : public SessionTest {
 protected:
  SenderTest() {
    SignOn();
    sender = std::make_unique<VekApi::VekFlowCtrlSender>(*client);
  }

  // With five reserved bytes in front.
  static std::string Buffer(const std::string& text) { return "....." + text; }

  bool SendOne(const std::string& text) {
    std::string buffer = Buffer(text);
    return sender->SendVekRequest(buffer.data(), static_cast<unsigned>(buffer.size()));
  }
  unsigned SendText(const std::string& text) {
    std::string buffer = Buffer(text);
    return sender->SendVekRequests(buffer.data(), static_cast<unsigned>(buffer.size()));
  }
  unsigned SendSeveral(const std::deque<std::string>& texts) { return sender->SendVekRequests(texts); }

  // The texts of the messages sent since the last call, pieces joined.
  Lines TakeMessages() {
    Lines messages;
    std::string pieces;
    for (const Packet& packet : Split(mes->TakeSent())) {
      pieces += packet.bytes.substr(5);
      if (packet.code == 3) continue;
      EXPECT_EQ(packet.code, 129);
      messages.push_back(std::exchange(pieces, {}));
    }
    return messages;
  }

  std::unique_ptr<VekApi::VekFlowCtrlSender> sender;
};

TEST_F(SenderTest, SendsInPlaceWhileTheGateIsOpen) {
  sender->SetFlowCtrl(2, 100);
  std::string buffer = Buffer("a\n1");
  EXPECT_TRUE(sender->SendVekRequest(buffer.data(), static_cast<unsigned>(buffer.size())));
  EXPECT_EQ(buffer, Message(129, "a\n1")) << "the header was written into the caller's buffer";
  EXPECT_EQ(TakeMessages(), Lines{"a\n1"});
}

TEST_F(SenderTest, NothingWithoutAText) {
  sender->SetFlowCtrl(1, 100);
  EXPECT_FALSE(SendOne(""));
  char few[] = "....";
  EXPECT_EQ(sender->SendVekRequests(few, 4), 0U);
  EXPECT_EQ(sender->SendVekRequests({}), 0U);
  EXPECT_TRUE(SendOne("x")) << "no place was used up";
  EXPECT_FALSE(SendOne("y"));
  EXPECT_FALSE(SendOne("")) << "whatever is held";
  EXPECT_EQ(sender->PendingCount(), 1U);
}

TEST_F(SenderTest, NoneOvertakesWhatIsHeld) {
  sender->SetFlowCtrl(1, 100);
  EXPECT_TRUE(SendOne("a\n1"));
  EXPECT_FALSE(SendOne("b\n2"));
  // Open again but not yet noticed: the timer has not expired.
  sender->SetFlowCtrl(2, 100);
  EXPECT_TRUE(SendOne("c\n3")) << "the check on the way sent both";
  EXPECT_EQ(TakeMessages(), (Lines{"a\n1", "b\n2\nc\n3"}));

  EXPECT_FALSE(SendOne("d\n4"));
  sender->Clear();
  EXPECT_FALSE(SendOne("e\n5")) << "behind what is held even when everything may go";
  EXPECT_EQ(SendText("f\n6\ng\n7\nlone"), 0U);
  EXPECT_EQ(SendSeveral({"h\n8"}), 0U);
  EXPECT_EQ(sender->PendingCount(), 5U);
  EXPECT_EQ(TakeMessages(), Lines{});
  time.Advance(0);
  EXPECT_EQ(TakeMessages(), Lines{"d\n4\ne\n5\nf\n6\ng\n7\nh\n8"}) << "from the timer, without being asked";
  EXPECT_EQ(sender->PendingCount(), 0U);
}

struct TextCase {
  const char* text;
  int allowed;
  unsigned sent;
  Lines message;
  const char* held;  // as one batch
};

TEST_F(SenderTest, TextsOfPairs) {
  const TextCase cases[] = {
      {"a\n1\nb\n2\nc\n3", 2, 2, {"a\n1\nb\n2"}, "c\n3"},
      {"a\n1\nb\n2\nc\n3", 3, 3, {"a\n1\nb\n2\nc\n3"}, ""},
      {"a\n1\nb\n2\nc\n3\nd\n4", 1, 1, {"a\n1"}, "b\n2\nc\n3\nd\n4"},
      {"a\n1\nb\n2\nlone", 9, 2, {"a\n1\nb\n2"}, ""},
      {"a\n1\nb\n2\nlone", 1, 1, {"a\n1"}, "b\n2"},
      {"a\n1\nb\n2\n", 9, 2, {"a\n1\nb\n2"}, ""},
      {"a\n1\nb\n2\n", 1, 1, {"a\n1"}, "b\n2"},
      {"a\n1\nb\n", 9, 2, {"a\n1\nb\n"}, ""},
      {"a\n1\nb\n", 1, 1, {"a\n1"}, "b\n"},
      {"a\n1", 0, 0, {}, "a\n1"},
      {"a\n1\nlone", 0, 0, {}, "a\n1"},
      {"a\n", 9, 1, {"a\n"}, ""},
      {"\n\n\n", 9, 2, {"\n\n\n"}, ""},
      {"\n\n\n", 1, 1, {"\n"}, "\n"},
      {"lone", 9, 0, {}, ""},
      {"", 9, 0, {}, ""},
  };
  for (const TextCase& each : cases) {
    SCOPED_TRACE(testing::Message() << each.text << " allowed " << each.allowed);
    sender = std::make_unique<VekApi::VekFlowCtrlSender>(*client);
    sender->SetFlowCtrl(each.allowed + 1, 100);
    EXPECT_EQ(sender->CheckFlowCtrl(), 0U);
    EXPECT_EQ(SendText(each.text), each.sent);
    EXPECT_EQ(TakeMessages(), each.message);
    sender->SetFlowCtrl(100, 100);
    sender->StartCheckTimer();
    const std::string held = each.held;
    EXPECT_EQ(TakeMessages(), held.empty() ? Lines{} : Lines{held});
  }
}

TEST_F(SenderTest, SeveralGoInOneMessageAndTheRestFollows) {
  sender->SetFlowCtrl(3, 100);
  EXPECT_EQ(SendSeveral({"a\n1", "b\n2", "one line", "c\n3", "d\n4"}), 3U);
  EXPECT_EQ(TakeMessages(), Lines{"a\n1\nb\n2\none line"});
  EXPECT_EQ(sender->PendingCount(), 2U);
  time.Advance(1000);
  EXPECT_EQ(TakeMessages(), Lines{}) << "not without an acknowledgement";
  sender->VekAckParser(129, "1\n2\n3");
  time.Advance(100);
  EXPECT_EQ(TakeMessages(), Lines{"c\n3\nd\n4"});
  // Batches of all lengths use the same buffer.
  sender->Clear();
  EXPECT_EQ(SendSeveral({"e"}), 1U);
  EXPECT_EQ(TakeMessages(), Lines{"e"});
}

TEST_F(SenderTest, LongBatchesGoInPieces) {
  std::deque<std::string> texts;
  std::string joined;
  for (int i = 0; i < 1000; ++i) {
    texts.push_back("w" + std::to_string(i) + " new\nprod=TXF side=B");
    joined += (i == 0 ? "" : "\n") + texts.back();
  }
  EXPECT_EQ(SendSeveral(texts), 1000U);
  const int sends = mes->Sends();
  EXPECT_EQ(TakeMessages(), Lines{joined});
  sender->SetFlowCtrl(1000, 100);
  EXPECT_EQ(SendText(joined), 1000U);
  EXPECT_EQ(TakeMessages(), Lines{joined});
  EXPECT_EQ(mes->Sends(), sends + 1) << "handed over together: nothing can come between the pieces";
}

// A messenger that delivers the acknowledgement, or lets the application send, before its Send returns.
TEST_F(SenderTest, AnswersFromInsideSend) {
  sender->SetFlowCtrl(2, 1);
  SendSeveral({"a", "b", "c", "d", "e"});
  TakeMessages();
  Lines sent;
  mes->onSend = [&] {
    for (const std::string& message : TakeMessages()) sent.push_back(message);
    sender->SetAckTime(1);  // opens the gate, which has more slots than outstanding requests
    if (sent.size() == 1) {
      EXPECT_FALSE(SendOne("f"));
    }
  };
  sender->SetFlowCtrl(4, 1);
  sender->StartCheckTimer();
  EXPECT_EQ(sent, (Lines{"c\nd\ne", "f"})) << "once each, and in order";
  sender->SetFlowCtrl(4, 1);
  EXPECT_EQ(SendText("g\n7\nh\n8"), 2U);
  EXPECT_EQ(sent.back(), "g\n7\nh\n8");
  EXPECT_EQ(sender->PendingCount(), 0U);
}

}  // namespace
}  // namespace vektest
