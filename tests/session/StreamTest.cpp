// Calls from inside every event.
#include <algorithm>
#include <cstddef>

#include "support/SessionFixture.h"

namespace vektest {
namespace {

// One of every kind of packet, messages in pieces, several after the sign-on.
std::string Conversation(const std::string& key) {
  return ConnectResult(false, {{"VekEnc\n", EncItem(1, key)}}) +
         Scrambled(SgnReply(7, "welcome") + SgnResult() + Message(130, "r1") + Pack(1, "") +
                       Message(3, "AB") + Pack(1, "") + Message(3, "CD") + ChgPassResult("u", "ok") +
                       Message(200, "EF") +
                       TaskResult("W1",
                                  "\x02T\n\x03"
                                  "A\x01"
                                  "B\n1\x01"
                                  "2\n") +
                       Message(129, "a1\na2") + Message(131, "b") + Pack(2, "\x09") + Message(3, "x") +
                       Message(130, "r2"),
                   key);
}

class StreamTest : public SessionTest {
 protected:
  Lines Receive(const std::string& stream, const std::vector<std::size_t>& cuts) {
    Connect();
    const auto link = TestMes::Last();
    link->Ready();
    std::size_t from = 0;
    for (const std::size_t cut : cuts) {
      link->Deliver(stream.substr(from, cut - from));
      from = cut;
    }
    link->Deliver(stream.substr(from));
    return recorder.Take();
  }
};

enum class Act { kDelete, kDisconnect, kReconnect, kSendAndAsk };

// The first block of a link contains all kinds of events and half of another packet; the application acts
// inside the n-th event.
class InsideEventTest : public StreamTest, public testing::WithParamInterface<std::tuple<Act, const char*>> {
 protected:
  void Do(Act act, VekApi::VekClient& inside) {
    std::string request = ".....x";
    switch (act) {
      case Act::kDelete:
        client.reset();
        break;
      case Act::kDisconnect:
        inside.Disconnect();
        break;
      case Act::kReconnect:
        Connect();
        break;
      case Act::kSendAndAsk:
        inside.SendVekRequest(129, request.data(), 6);
        inside.ChgPass("u", "o", "n");
        inside.State();
        break;
    }
  }
};

TEST_P(InsideEventTest, NothingOfTheOldLinkFollows) {
  const auto [act, kind] = GetParam();
  const std::string stream = Conversation("key") + "\x09";
  const Lines whole = Receive(stream, {});
  for (std::size_t at = 0; at < whole.size(); ++at) {
    if (!client) client = std::make_unique<VekApi::VekClient>(recorder);
    std::size_t count = 0;
    recorder.onEvent = [&, doAct = act](VekApi::VekClient& inside, const std::string&) {
      if (count++ == at) Do(doAct, inside);
    };
    client->Connect(kind, "App", "1", "", "", "");
    const auto link = TestMes::Last();
    link->Ready();
    link->Deliver(stream);
    link->Deliver(Message(130, "more"));
    recorder.onEvent = nullptr;
    Lines expected(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(at) + 1);
    if (act == Act::kDelete) expected.push_back("destroy");
    if (act == Act::kDisconnect) expected.push_back("connect -1 Disconnect()");
    Lines lines = recorder.Take();
    if (act == Act::kSendAndAsk) {
      lines.resize(whole.size());
      expected = whole;
    }
    EXPECT_EQ(lines, expected) << "inside event " << at;
    if (act == Act::kReconnect) {
      EXPECT_EQ(Receive(Conversation("new"), {}), Receive(Conversation("new"), {7})) << "the new link works";
    }
  }
}

INSTANTIATE_TEST_SUITE_P(EveryAct, InsideEventTest,
                         testing::Combine(testing::Values(Act::kDelete, Act::kDisconnect, Act::kReconnect,
                                                          Act::kSendAndAsk),
                                          testing::Values(":TestMes:lend", ":TestMes:ok")));

// Events not caused by bytes from the server.
TEST_F(StreamTest, DeletionInsideLinkAndTimerEvents) {
  const auto deleteAt = [this](const std::string& start) {
    if (!client) client = std::make_unique<VekApi::VekClient>(recorder);
    recorder.Take();
    recorder.onEvent = [this, start](VekApi::VekClient&, const std::string& line) {
      if (line.rfind(start, 0) == 0) client.reset();
    };
  };
  deleteAt("connect -2");
  Connect();
  TestMes::Last()->Fail("x");
  EXPECT_EQ(recorder.Take(), (Lines{"connect -2 x", "destroy"}));

  deleteAt("connect -2");
  Connect(":TestMes:noopen");
  EXPECT_FALSE(client);

  deleteAt("connect -3");
  SignOn();
  mes->Break("x");
  EXPECT_EQ(recorder.Take(), (Lines{"connect -3 x", "destroy"}));

  deleteAt("connect -3");
  SignOn();
  mes->Deliver(std::string(3, '\0'));
  EXPECT_FALSE(client);

  deleteAt("connect -7");
  SignOn();
  time.Advance(90'000);
  EXPECT_EQ(recorder.Take(), (Lines{"connect -7 Heartbeat timeout", "destroy"}));

  deleteAt("connect -1");
  client->Disconnect();
  EXPECT_FALSE(client);
}

TEST_F(StreamTest, CopiesShareTheSession) {
  SignOn();
  auto copy = std::make_unique<VekApi::VekClient>(*client);
  EXPECT_EQ(copy->State(), VekApi::vcs_ApReady);
  std::string request = ".....x";
  EXPECT_TRUE(copy->SendVekRequest(129, request.data(), 6));
  copy->Connect(":TestMes:lend", "App", "1.2", "id", "sub", "secret");
  EXPECT_NE(TestMes::Last().get(), mes.get()) << "closed";
  client.reset();
  EXPECT_EQ(recorder.Take(), Lines{"destroy"});
  EXPECT_TRUE(TestMes::Last()) << "the copy's own link";
  copy.reset();
  EXPECT_EQ(recorder.Take(), Lines{"destroy"});
  EXPECT_FALSE(TestMes::Last());
}

}  // namespace
}  // namespace vektest
