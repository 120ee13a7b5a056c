// The stream as bytes: split, damaged, endless. Events are recorded, one line each.
#include "protocol/TPacketParser.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "protocol/ConnectResult.h"
#include "support/Wire.h"

namespace vektest {
namespace {

using Lines = std::vector<std::string>;

class Listener final : public VekApi::TPacketEvents {
 public:
  Listener() { parser.SetMaxMessage(20'000); }

  Lines Receive(const std::string& stream, std::vector<std::size_t> cuts = {}) {
    cuts.push_back(stream.size());
    std::size_t from = 0;
    for (const std::size_t to : cuts) {
      std::string block =
          stream.substr(from, to - from);  // exactly that size, so that sanitizers detect reads beyond it
      if (!over) parser.Parse(block.data(), static_cast<unsigned>(block.size()));
      from = to;
    }
    return lines;
  }

  bool Over() const override { return over; }
  void OnPkConnectResult(const char* packet, int length) override {
    const auto result = VekApi::ReadConnectResult(packet, length);
    if (result) parser.SetCipher(result->cipher);
    Note("connect " + (result ? result->serverName + result->refusal.value_or("") : "?"));
  }
  void OnPkSession(const char* packet, int length) override {
    Note("session " + std::string(packet + 3, static_cast<std::size_t>(length - 3)));
  }
  void OnMessage(int msgCode, const char* message, std::size_t length) override {
    Note(std::to_string(msgCode) + " " +
         std::string(message + std::min<std::size_t>(5, length), message + length));
  }
  void OnStreamBroken(const char* reason) override {
    Note(reason);
    over = true;
  }

  VekApi::TPacketParser parser{*this};
  bool over = false;
  std::string stopAt;  // the owner stops after this line
  Lines lines;

 private:
  void Note(const std::string& line) {
    lines.push_back(line);
    if (line == stopAt) over = true;
  }
};

// One of every kind of packet, messages in pieces, several after the sign-on.
std::string Conversation(const std::string& key) {
  return ConnectResult(false, {{"VekEnc\n", EncItem(1, key)}}) +
         Scrambled(SgnReply(7, "welcome") + Message(130, "r1") + Pack(1, "") + Message(3, "AB") +
                       Pack(1, "") + Message(3, "CD") + ChgPassResult("u", "ok") + Message(200, "EF") +
                       Message(129, "a1\na2") + Message(131, "b") + Pack(2, "\x09") + Message(3, "x") +
                       Message(4095, ""),
                   key);
}

TEST(PacketParser, StopsAfterTheEventThatEndsItsOwner) {
  const std::string stream = Conversation("");
  const Lines whole = Listener().Receive(stream);
  for (std::size_t at = 0; at < whole.size(); ++at) {
    for (const std::size_t cut : {std::size_t{0}, stream.size() / 2}) {
      Listener listener;
      listener.stopAt = whole[at];
      EXPECT_EQ(listener.Receive(stream, {cut}),
                Lines(whole.begin(), whole.begin() + static_cast<long>(at) + 1));
    }
  }
}

TEST(PacketParser, BrokenStreams) {
  for (const std::string& start : {std::string(), Pack(1, ""), Message(3, "piece")}) {
    for (const std::string& bad : {std::string("\0\0\x82", 3), std::string("\x02\0\x01", 3)}) {
      for (std::size_t cut = 0; cut <= (start + bad).size(); ++cut) {
        EXPECT_EQ(Listener().Receive(start + bad + Message(130, "not believed"), {cut}),
                  Lines{"Invalid packet length"});
      }
    }
  }
  std::string pieces;
  for (int i = 0; i < 20; ++i) pieces += Message(3, std::string(1000, 'x'));
  EXPECT_EQ(Listener().Receive(pieces + Message(130, "")), Lines{"130 " + std::string(20'000, 'x')});
  EXPECT_EQ(Listener().Receive(pieces + Message(130, "y")), Lines{"Message too long"});
  EXPECT_EQ(Listener().Receive(pieces + Message(3, "y")), Lines{"Message too long"});
}

// Random bytes, and valid packets with random damage: no crash, no hang, no read beyond the bytes received.
TEST(PacketParser, DamagedStreamsAreSurvived) {
  std::mt19937 random(20240607);
  for (int round = 0; round < 5000; ++round) {
    std::string stream = Conversation(round % 2 ? "key" : "");
    for (std::size_t i = 0; i <= random() % 8; ++i)
      stream[random() % stream.size()] = static_cast<char>(random());
    if (round % 4 == 0)
      std::generate(stream.begin(), stream.end(), [&] { return static_cast<char>(random()); });
    Listener().Receive(stream, {random() % stream.size()});
  }
}

}  // namespace
}  // namespace vektest
