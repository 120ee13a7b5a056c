#include "sim/SimWire.h"

#include <gtest/gtest.h>

namespace VekSim {
namespace {

using namespace std::string_literals;

// What no conversation with the library shows, because the library does not look at it or it is rare.

TEST(Wire, SessionAnswersInBothByteOrders) {
  EXPECT_EQ(SignOnReply(0x01020304, "u", "bad", ByteOrder::Little),
            "\x0F\0\2"
            "\2\1\3\0\4\3\2\1"
            "ubad"s);
  EXPECT_EQ(SignOnReply(0x01020304, "u", "bad", ByteOrder::Big),
            "\x0F\0\2"
            "\2\1\0\3\1\2\3\4"
            "ubad"s);
  EXPECT_EQ(PassResult("me", "done"),
            "\x0C\0\2"
            "\1\2\4"
            "medone"s);
}

TEST(Wire, TaskBodyTakesTheLongFormFrom65535Bytes) {
  EXPECT_EQ(TaskBody("w1", "abc", ByteOrder::Little), "\2w1\3\0abc"s);
  EXPECT_EQ(TaskBody("w1", "abc", ByteOrder::Big), "\2w1\0\3abc"s);
  const std::string longest(65534, 'x');
  EXPECT_EQ(TaskBody("w", longest, ByteOrder::Big).substr(0, 5), "\1w\xFF\xFEx"s);
  EXPECT_EQ(TaskBody("w", longest + 'x', ByteOrder::Big).substr(0, 9), "\1w\xFF\xFF\0\0\xFF\xFFx"s);
  EXPECT_EQ(TaskBody("w", longest + "xx", ByteOrder::Little).substr(0, 9), "\1w\xFF\xFF\0\0\1\0x"s);
}

TEST(Wire, TextsAreCutIntoPieces) {
  using Packets = std::vector<std::string>;
  EXPECT_EQ(TextPackets(130, "ABCDEF", ByteOrder::Little, 2),
            (Packets{"\7\0\3\2\0AB"s, "\7\0\3\2\0CD"s, "\7\0\x82\2\0EF"s}));
  EXPECT_EQ(TextPackets(130, "AB", ByteOrder::Big, 2), (Packets{"\7\0\x82\0\2AB"s}));
  const Packets two = TextPackets(128, std::string(4091, 'x'), ByteOrder::Big);
  ASSERT_EQ(two.size(), 2u);
  EXPECT_EQ(two[0].substr(0, 5), "\xFF\x0F\3\x0F\xFA"s);
  EXPECT_EQ(two[1], "\6\0\x80\0\1x"s);
}

TEST(Wire, ReadsWhatClientsSend) {
  const auto hello = ReadConnect("\x26\0\0\0\x78\x56\x34\x12\1\0\2\0\3\0\0\4\2\0\x10\0apVekSocketClient\n"s);
  ASSERT_TRUE(hello);
  EXPECT_EQ(hello->name, "ap");
  EXPECT_EQ(hello->version[3], 1024);
  EXPECT_EQ(hello->kindLine, "VekSocketClient\n");
  const auto signOn = ReadSignOn(
      "\x13\0\2\0\4\0\0\3\0\0\0\0"
      "me/xpwd"s);
  ASSERT_TRUE(signOn);
  EXPECT_EQ(signOn->identity, "me/x");
  EXPECT_EQ(signOn->password, "pwd");
  const auto pass = ReadPass(
      "\x0D\0\2\1\1\2\3"
      "aBBccc"s);
  ASSERT_TRUE(pass);
  EXPECT_EQ(pass->user + '|' + pass->oldPass + '|' + pass->newPass, "a|BB|ccc");
}

TEST(Wire, MasksPasswordsOfAnyLength) {
  const struct {
    std::string body, masked;
  } cases[] = {
      {"\0\2\0\0\3\0\0\0\0u/pwd"s, "\0\2\0\0\x08\0\0\0\0u/********"s},
      {"\1\1\2\0uab"s, "\1\1\x08\x08u****************"s},
      {"\0\2\0\0\4\0\0\0\0u/pwd"s, "********"},
      {"\7pwd"s, "********"},
      {"", "********"},
  };
  for (const auto& one : cases)
    EXPECT_EQ(Masked(Packet(Code::kSession, one.body)), Packet(Code::kSession, one.masked)) << one.body;
}

TEST(Wire, CutterWaitsForWholePacketsAndStopsAtLengthsBelowThree) {
  PacketCutter cutter;
  for (const char byte : "\5\0\x80\0\0"s) {
    EXPECT_FALSE(cutter.Next());
    cutter.Feed(std::string_view(&byte, 1));
  }
  EXPECT_EQ(cutter.Next(), "\5\0\x80\0\0"s);
  cutter.Feed("\3\0\1\2\0\1\3\0\1"s);
  EXPECT_EQ(cutter.Next(), "\3\0\1"s);
  EXPECT_FALSE(cutter.Next());
  EXPECT_TRUE(cutter.Broken());
}

}  // namespace
}  // namespace VekSim
