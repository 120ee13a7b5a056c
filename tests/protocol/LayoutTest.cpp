// Packets written byte by byte, and parsed from packets that are truncated, have wrong lengths, or use the
// other byte order.
#include <gtest/gtest.h>

#include "protocol/ConnectRequest.h"
#include "protocol/ConnectResult.h"
#include "protocol/PasswordChange.h"
#include "protocol/RequestPrefix.h"
#include "protocol/SignOn.h"
#include "support/Wire.h"

namespace vektest {
namespace {

using namespace VekApi;
using namespace std::string_literals;

std::string Bytes(TSecretPacket packet) {
  return {packet.Data(), static_cast<std::size_t>(packet.Length())};
}

TEST(Layout, ConnectRequest) {
  struct Case {
    const char* version;
    std::string numbers;
  };
  for (const Case& c : {Case{"", "\0\0\0\0\0\0\0\0"s}, Case{"7", "\7\0\0\0\0\0\0\0"s},
                        Case{"1-2-3-4", "\1\0\2\0\3\0\4\0"s}, Case{" 1.\t2. 3", "\1\0\2\0\3\0\0\0"s},
                        Case{"65537.x.3.4.5", "\1\0\0\0\0\0\3\0"s}, Case{"a.1", "\0\0\0\0\1\0\0\0"s}}) {
    std::string packet;
    ASSERT_TRUE(MakeConnectRequest(packet, "App", c.version));
    EXPECT_EQ(packet, "\x27\0\0\0\x78\x56\x34\x12"s + c.numbers + "\3\0\x10\0AppVekSocketClient\n"s)
        << c.version;
  }
  std::string packet = "untouched";
  EXPECT_FALSE(MakeConnectRequest(packet, std::string(4063, 'n'), "1"));
  EXPECT_EQ(packet, "untouched");
  EXPECT_TRUE(MakeConnectRequest(packet, std::string(4062, 'n'), "1"));
  EXPECT_EQ(packet.size(), 4098u);
}

TEST(Layout, SignOnAndPasswordChangeRequests) {
  EXPECT_EQ(Bytes(MakeSignOnRequest("id/sub", "secret")), Pack(2, "\0\6\0\0\6\0\0\0\0id/subsecret"s));
  EXPECT_EQ(Bytes(MakeSignOnRequest(std::string(257, 'i'), "")).substr(4, 4), "\1\0\0\0"s) << "lengths wrap";
  EXPECT_TRUE(MakeSignOnRequest(std::string(4086, 'i'), ""));
  EXPECT_FALSE(MakeSignOnRequest(std::string(4086, 'i'), "p"));
  EXPECT_EQ(Bytes(MakeChgPassRequest("u", "old", "new1")), Pack(2, "\1\1\3\4uoldnew1"s));
  EXPECT_TRUE(MakeChgPassRequest("u", std::string(4090, 'o'), ""));
  EXPECT_FALSE(MakeChgPassRequest("u", std::string(4090, 'o'), "n"));
}

TEST(Layout, RequestsInOneAndInSeveralPieces) {
  for (const bool big : {false, true}) {
    const TCipher cipher(big ? vek_BigEndian : vek_LittleEndian, 1, "key");
    std::string one = "....." + std::string(4090, 'r');
    EXPECT_EQ(FramePiece(cipher, one.data(), 129, 4090), 4095);
    EXPECT_EQ(one, Scrambled(Message(129, std::string(4090, 'r'), big), "key"));
    for (const std::size_t length : {4091U, 8180U, 8181U}) {
      std::string buffer = "....." + std::string(length, 'r');
      std::string wire;
      ASSERT_TRUE(FrameInPieces(cipher, 129, buffer.data(), length, wire));
      std::string expected;
      std::size_t left = length;
      for (; left > 4090; left -= 4090) expected += Message(3, std::string(4090, 'r'), big);
      EXPECT_EQ(wire, Scrambled(expected + Message(129, std::string(left, 'r'), big), "key")) << length;
    }
  }
}

TEST(Layout, OnlyModeOneScramblesRequests) {
  for (const int mode : {-1, 0, 1, 2}) {
    for (const std::string key : {"", "abc"}) {
      const TCipher cipher(vek_LittleEndian, mode, key);
      const std::string plain = Pack(1, "") + Pack(200, "12345");
      std::string packet = plain;
      cipher.EncPacket(packet.data(), 3);
      cipher.EncPacket(packet.data() + 3, 8);
      EXPECT_EQ(packet, mode == 1 ? Scrambled(plain, key) : plain);
      cipher.WithoutKey().Xor(packet.data() + 3, 8);
      cipher.Xor(packet.data() + 3, 8);
      EXPECT_EQ(packet, mode == 1 ? plain : Scrambled(plain, key))
          << "twice gives it back; received ones always";
    }
  }
}

TEST(Layout, ScramblesEveryLength) {
  const TCipher cipher(vek_LittleEndian, 1, "0123456789abc");
  for (std::size_t length = 0; length <= 4090; length += length < 300 ? 1 : 79) {
    const std::string plain = Pack(200, std::string(length, 'p'));
    std::string packet = plain;  // of exactly that size, so that sanitizers detect writes beyond it
    cipher.Xor(packet.data(), static_cast<int>(packet.size()));
    ASSERT_EQ(packet, Scrambled(plain, "0123456789abc")) << length;
  }
}

std::optional<TConnectResult> Read(const std::string& packet) {
  return ReadConnectResult(packet.data(), static_cast<int>(packet.size()));
}

// The key and byte order of a result's cipher, shown by scrambling zeros.
std::string KeyOf(const TConnectResult& result) {
  std::string packet = Pack(200, std::string(6, '\0'));
  result.cipher.Xor(packet.data(), static_cast<int>(packet.size()));
  return packet.substr(3) + (result.cipher.Endian() == vek_BigEndian ? " big" : "");
}

TEST(Layout, ConnectResults) {
  struct Case {
    std::vector<Item> items;
    char outcome;
    std::string key;
    std::optional<std::string> refusal;
  };
  const std::string none(6, '\0');
  for (const Case& c :
       {Case{{}, 0, none, {}}, Case{{{"ERROR\n", "full"}}, 1, none, "full"},
        Case{{{"ERROR\n", "full"}}, 0, none, {}}, Case{{{"ERROR\n", ""}}, 1, none, ""},
        Case{{{"Other\n", "x"}, {"VekEnc\n", EncItem(1, "abc")}}, 0, "abcabc", {}},
        Case{{{"VekEnc\n", EncItem(1, "old")}, {"VekEnc\n", EncItem(0, "new")}}, 0, "newnew", {}},
        Case{{{"VekEnc\n", "\1"}}, 0, none, {}}, Case{{{"VekEnc\n", "\1\5abc"}}, 0, none, {}}}) {
    for (const bool big : {false, true}) {
      const auto result = Read(ConnectResult(big, c.items, c.outcome));
      ASSERT_TRUE(result);
      EXPECT_EQ(result->serverName, "GW.2.0.1.15");
      EXPECT_EQ(KeyOf(*result), c.key + (big ? " big" : ""));
      EXPECT_EQ(result->refusal, c.refusal);
    }
  }
  // Truncated anywhere, and with wrong lengths: nothing beyond the packet is read.
  const std::string whole = ConnectResult(false, {{"VekEnc\n", EncItem(1, "abc")}, {"ERROR\n", "full"}}, 1);
  for (std::size_t length = 0; length < whole.size(); ++length) {
    const std::string cut = whole.substr(0, length);
    EXPECT_EQ(Read(cut).has_value(), length >= 20) << length;
    for (const std::size_t at : {16U, 18U, 19U}) {
      std::string lying = cut;
      if (at < length) lying[at] = '\xFF';
      Read(lying);
    }
  }
}

TEST(Layout, RepliesAreCutToWhatIsThere) {
  for (const bool big : {false, true}) {
    const EVekEndian endian = big ? vek_BigEndian : vek_LittleEndian;
    const std::string whole = SgnReply(0x01020304, "message", big);
    for (std::size_t length = 0; length <= whole.size(); ++length) {
      const std::string cut = whole.substr(0, length);
      const auto reply = ReadSignOnReply(cut.data(), static_cast<int>(length), endian);
      ASSERT_EQ(reply.has_value(), length >= 11) << length;
      if (!reply) continue;
      EXPECT_EQ(reply->number, 0x01020304u);
      EXPECT_EQ(reply->message, std::string("message").substr(0, length < 15 ? 0 : length - 15));
    }
  }
  const std::string whole = ChgPassResult("user", "changed");
  for (std::size_t length = 0; length <= whole.size(); ++length) {
    const std::string cut = whole.substr(0, length);
    const auto result = ReadChgPassResult(cut.data(), static_cast<int>(length), vek_LittleEndian);
    ASSERT_EQ(result.has_value(), length >= 6) << length;
    if (!result) continue;
    EXPECT_EQ(std::string(result->user) + std::string(result->message), cut.substr(6));
  }
}

}  // namespace
}  // namespace vektest
