// Recorded sessions, cut at every byte: a client's events do not depend on how the bytes are split, and a
// link that ends in the middle has reported everything complete.
#include "support/SessionFixture.h"

namespace vektest {
namespace {

using Recorded = std::vector<std::string>;  // the packets as sent, one by one

std::string Table(const std::string& name) {
  return "\x02" + name +
         "\x04mkt=2\n\x03"
         "A\x04DisplayText=x\x01"
         "B\n1\x01"
         "2\n3\n";
}

std::vector<Recorded> Sessions() {
  std::vector<Recorded> sessions;
  for (const bool big : {false, true}) {
    for (const std::string key : {"", "\x01\x80\xFF"}) {
      const auto hello = ConnectResult(big, {{"x\n", "y"}, {"VekEnc\n", EncItem(1, key)}});
      const std::vector<std::vector<std::string>> talks = {
          {SgnReply(7, "welcome", big),
           SgnResult("5\x01"
                     "1000",
                     big),
           Message(130, "r1", big), Pack(1, ""), Message(3, "AB", big), Pack(1, ""),
           Message(3, std::string(300, 'C'), big), ChgPassResult("u", "ok"), Message(200, "EF", big),
           TaskResult("W1", Table("T") + Table("U"), big), Message(129, "a1\na2", big),
           Message(131, "b", big), Pack(2, "\x09"),
           Message(3, TaskText("W2", Table("V"), big).substr(0, 9), big),
           Message(128, TaskText("W2", Table("V"), big).substr(9), big), Message(3, "x", big),
           Message(130, "", big)},
          {SgnReply(0, "who?", big), ChgPassResult("u", "changed"), Message(130, "r", big)},
          {hello,
           SgnResult("1\x01"
                     "1",
                     big),
           SgnResult("2\x01"
                     "2",
                     big),
           Message(4095, "", big), Pack(130, "")}};
      for (const auto& talk : talks) {
        Recorded& session = sessions.emplace_back(Recorded{hello});
        for (const std::string& packet : talk)
          session.push_back(packet == hello ? packet : Scrambled(packet, key));
      }
    }
  }
  sessions.push_back({ConnectResult(false, {{"ERROR\n", "full"}}, 1), Message(130, "r")});
  return sessions;
}

class CutTest : public SessionTest {
 protected:
  Lines Receive(const std::vector<std::string>& blocks) {
    Connect();
    const auto link = TestMes::Last();
    link->Ready();
    for (const std::string& block : blocks) link->Deliver(block);
    return recorder.Take();
  }
  Lines EndOfLink() {
    TestMes::Last()->Break("gone");
    return recorder.Take();
  }
};

TEST_F(CutTest, EveryByte) {
  for (const Recorded& session : Sessions()) {
    std::string stream;
    std::vector<std::size_t> toldBy;  // the number of lines after so many bytes
    Lines whole;
    for (const std::string& packet : session) {
      toldBy.resize(stream.size() + packet.size(), whole.size());
      stream += packet;
      whole = Receive({session.begin(), session.begin() + (&packet - session.data()) + 1});
    }
    ASSERT_EQ(Receive({stream}), whole);
    std::vector<std::string> bytes;
    for (const char byte : stream) bytes.emplace_back(1, byte);
    ASSERT_EQ(Receive(bytes), whole);
    for (std::size_t cut = 1; cut < stream.size(); ++cut) {
      ASSERT_EQ(Receive({stream.substr(0, cut), stream.substr(cut)}), whole) << cut;
      ASSERT_EQ(Receive({stream.substr(0, cut), stream.substr(cut, 2),
                         stream.substr(std::min(cut + 2, stream.size()))}),
                whole)
          << cut;
      const Lines told = Receive({stream.substr(0, cut)});
      ASSERT_EQ(told, Lines(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(toldBy[cut]))) << cut;
      const bool refused = !told.empty() && client->State() == VekApi::vcs_SgnError;  // raises no event then
      ASSERT_EQ(EndOfLink(), refused ? Lines{} : Lines{"connect -3 gone"}) << cut;
    }
  }
}

}  // namespace
}  // namespace vektest
