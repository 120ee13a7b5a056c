// Captures with the irregularities of real ones.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "Line.h"
#include "support/Wire.h"
#include "vekdump/Text.h"

namespace VekDump {
namespace {

using vektest::Message;
using vektest::Scrambled;

constexpr char kKey[] = "kEy";

std::string ToServer(int code, const std::string& text) {
  return Scrambled(Message(code, text), kKey);
}

const std::string kSignOn =
    Scrambled(vektest::Pack(2, std::string("\0\x07\0\0\x06\0\0\0\0", 9) + "trader/" + "secret"), kKey);
const std::string kAnswer = vektest::ConnectResult(false, {{"VekEnc\n", vektest::EncItem(1, kKey)}});

// One connection, whose segments a test writes at will.
class VekdumpCapture : public testing::Test {
 protected:
  void Open() {
    written.Open({1, Side::Client, {}});
    Client(vektest::ConnectRequest());
    Server(kAnswer);
    Client(kSignOn);
  }
  void Client(const std::string& bytes) { written.Send(1, Side::Client, kAck, bytes); }
  void Server(const std::string& bytes) { written.Send(1, Side::Server, kAck, bytes); }
  // Sent, but missing from the capture.
  void Lose(Side from, std::size_t count) { written.Next(1, from) += static_cast<std::uint32_t>(count); }

  // The output for packets, and the notes: names or texts.
  std::vector<std::string> Shown(std::uint16_t port = 0) {
    std::vector<std::string> shown;
    for (const std::string& line : PlainOf(capture.bytes, port)) {
      const auto json = nlohmann::json::parse(line);
      EXPECT_EQ(line.find("secret"), std::string::npos);
      if (json["kind"] == "note") shown.push_back("* " + json["text"].get<std::string>());
      if (json["kind"] != "packet") continue;
      shown.push_back(json["name"].get<std::string>() + " " + json.value("text", ""));
    }
    return shown;
  }

  Capture capture;
  Written written{capture};
};

using Lines = std::vector<std::string>;
const Lines kOpened{"connect request ", "connect result ", "sign-on request "};

Lines Opened(const Lines& more) {
  Lines all = kOpened;
  all.insert(all.end(), more.begin(), more.end());
  return all;
}

TEST_F(VekdumpCapture, PutsSegmentsInOrderAndLeavesOutWhatComesAgain) {
  Open();
  const std::uint32_t start = written.Next(1, Side::Client);
  const std::string one = ToServer(130, "one"), two = ToServer(130, "two"), both = one + two;
  const auto at = [&](std::size_t offset, std::size_t count) {
    capture.Segment(Side::Client, 40001, start + static_cast<std::uint32_t>(offset), 0, kAck,
                    both.substr(offset, count));
  };
  at(12, 4);
  at(5, 7);
  at(12, 4);
  at(0, 2);
  at(0, 9);  // fills the hole, and overlaps the early bytes
  at(0, 16);
  at(3, 2);
  EXPECT_EQ(Shown(), Opened({"report one", "report two"}));
}

TEST_F(VekdumpCapture, SaysWhatIsMissingAndGoesOnBehindIt) {
  Open();
  const std::string whole = ToServer(130, "lost");
  Client(ToServer(130, "before"));
  Lose(Side::Client, whole.size());
  Client(ToServer(130, "behind"));  // a new packet, which has to be searched for
  Client(whole.substr(0, 5));
  Lose(Side::Client, 2);  // within a packet: the start of the next one is known
  Client(whole.substr(7) + ToServer(130, "last"));
  Server(Scrambled(Message(130, "seen"), kKey));  // acknowledges everything
  EXPECT_EQ(Shown(), Opened({"report before", "* 9 bytes of the client's stream missing", "report behind",
                             "* 2 bytes of the client's stream missing",
                             "* 5 bytes of the client's stream left out", "report last", "report seen"}));
}

// A partly captured frame, and a stream that ends within a packet.
TEST_F(VekdumpCapture, CountsWhatWasNotCapturedAsMissing) {
  Open();
  const std::string packet = ToServer(130, "cut off");
  auto& next = written.Next(1, Side::Client);
  capture.Segment(Side::Client, 40001, next, 0, kAck, packet, 4);
  next += static_cast<std::uint32_t>(packet.size());
  Client(ToServer(130, "behind"));
  Server(Scrambled(Message(130, "report"), kKey).substr(0, 6));
  written.Send(1, Side::Server, kReset, {});
  const auto shown = Shown();
  EXPECT_EQ(shown,
            Opened({"* 4 bytes of the client's stream missing", "* 8 bytes of the client's stream left out",
                    "report behind", "* the server's stream ends within a packet, of which 6 bytes came"}));
}

// Whatever is missing before a sign-on, and however it is cut: nothing of its password is shown.
TEST_F(VekdumpCapture, ShowsNoPasswordWhereverTheCaptureBegins) {
  const std::string plain = vektest::Pack(2, std::string("\0\x02\0\0\x06\0\0\0\0", 9) + "ab" + "secret");
  const std::string longer =
      vektest::Pack(2, std::string("\0\x02\0\0\x14\0\0\0\0", 9) + "ab" + "secretsecretsecretse");
  for (const std::string& sent : {plain, longer, kSignOn, Scrambled(longer, kKey)}) {
    for (std::size_t from = 0; from < sent.size(); ++from) {
      for (const bool opened : {false, true}) {
        capture = Capture();
        written = Written(capture);
        if (opened) {
          Open();
          Lose(Side::Client, from);
        }
        Client(sent.substr(from));
        Server(Scrambled(Message(130, "x"), kKey));
        Views views;
        std::istringstream in(capture.bytes);
        DumpFile(in, "capture", 9000, *views.Outputs());
        for (const std::string& view : {views.text.str(), views.json.str(), views.recording.str()}) {
          EXPECT_EQ(view.find("cret"), std::string::npos) << from << view;
          EXPECT_EQ(view.find("63726574"), std::string::npos) << from << view;
          const std::string end = sent.substr(std::min(std::max<std::size_t>(from, 20), sent.size()));
          if (end.size() > 2) {
            EXPECT_EQ(view.find(HexDigits(end)), std::string::npos) << from << view;
          }
        }
      }
    }
  }
}

TEST_F(VekdumpCapture, ReadsWhatIsNotScrambledWithoutAHandshake) {
  for (const bool big : {false, true}) {
    capture = Capture();
    written = Written(capture);
    Client(Message(128, "w1 products\n", big));
    Server(Message(130, "report", big));
    EXPECT_EQ(Shown(), (Lines{"query w1 products\n", "report report"}));
  }
}

TEST_F(VekdumpCapture, LeavesOutOtherConnectionsUnlessTold) {
  Open();
  capture.Segment(Side::Client, 5555, 0, 0, kSyn, {});
  capture.Segment(Side::Client, 5555, 1, 0, kAck, "GET / HTTP/1.1\r\nsecret\r\n");
  EXPECT_EQ(Shown(), kOpened);
  EXPECT_EQ(Shown(9000).back(),
            "* the client sends no packets (an HTTP request); its bytes are looked at no further");
  EXPECT_EQ(Shown(80), Lines());
}

// A reused port is a new link with its own key.
TEST_F(VekdumpCapture, KnowsANewConnectionByItsStart) {
  Open();
  written.Send(1, Side::Client, kReset, {});
  written = Written(capture);
  Open();
  EXPECT_EQ(Shown(), Opened(kOpened));
}

}  // namespace
}  // namespace VekDump
