// An event as one line of a log, in UTF-8 whatever the encoding of its texts.
#include <gtest/gtest.h>

#include "keeper/PacketWords.h"
#include "keeper/Words.h"
#include "support/Wire.h"

namespace VekApi {
namespace {

TEST(Words, DescribeConvertsTheServersAndKeepsTheLibrarys) {
  CVekEvent event{};
  event.size = sizeof event;
  event.detail = "\xB1\x4B\xBD\x58\nno";  // code page 950
  event.kind = vse_State;
  EXPECT_NE(Describe(event).find("\u5BC6\u78BC no"), std::string::npos) << Describe(event);
  event.kind = vse_Trace;
  event.detail = "\u5BC6\u78BC";
  EXPECT_NE(Describe(event).find("\u5BC6\u78BC"), std::string::npos) << Describe(event);
}

TEST(Words, WhyASessionStoppedIsToldBesideWhatEndedItsLastLink) {
  CVekEvent event{};
  event.size = sizeof event;
  event.kind = vse_State;
  event.state = vss_Stopped;
  event.cause = vsr_Reset;
  event.reason = vsr_ShortLinks;
  EXPECT_NE(Describe(event).find(WordsOf(vst_Reason, vsr_ShortLinks, 0)), std::string::npos)
      << Describe(event);
  EXPECT_NE(Describe(event).find(WordsOf(vst_Reason, vsr_Reset, 0)), std::string::npos) << Describe(event);
  event.reason = vsr_LinkBroken;
  EXPECT_EQ(Describe(event), "state link 0: given up (the connection was reset) attempt 0 endpoint 0");
}

// Some pieces begin within a character. What follows the result has no mark.
TEST(Words, ResultsMarkedUtf8AreShownAsSuch) {
  const std::string head("\x02w1\0\0", 5), utf8 = head + "UTF8\n\u5BC6\u78BC|", big5 = "\xB1\x4B\xBD\x58|";
  const struct {
    std::vector<std::string> packets;
    std::string shown;
  } cases[] = {
      {{vektest::Message(128, utf8)}, "w1 UTF8 \u5BC6\u78BC|"},
      {{vektest::Message(128, head + big5)}, "w1 \u5BC6\u78BC|"},
      {{vektest::Message(3, utf8 + "\xE5\xAF"), vektest::Pack(1, ""), vektest::Message(3, "\x86\u78BC|")},
       "piece of 5 bytes: \u78BC|"},
      {{vektest::Message(3, utf8), vektest::Message(128, "\u78BC|")}, "task result of 4 bytes: \u78BC|"},
      {{vektest::Message(3, utf8), vektest::Pack(0, ""), vektest::Message(130, big5)}, "\u5BC6\u78BC|"},
      {{vektest::Message(128, utf8), vektest::Message(130, big5)}, "\u5BC6\u78BC|"},
  };
  for (const auto& one : cases) {
    TPacketWords words;
    std::string shown;
    for (const std::string& packet : one.packets) shown = words.Of(packet, true, ERecordOrder::Little);
    EXPECT_TRUE(shown.ends_with(one.shown)) << shown;
  }
}

}  // namespace
}  // namespace VekApi
