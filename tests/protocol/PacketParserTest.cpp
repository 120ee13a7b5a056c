// Streams that are broken or endless. Events are recorded, one line each.
#include "protocol/TPacketParser.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/Wire.h"

namespace vektest {
namespace {

using Lines = std::vector<std::string>;

class Listener final : public VekApi::TPacketEvents {
 public:
  Listener() { parser_.SetMaxMessage(20'000); }

  Lines Receive(const std::string& stream, std::size_t cut = 0) {
    // Of exactly that size, so that sanitizers detect reads beyond it.
    for (std::string block : {stream.substr(0, cut), stream.substr(cut)}) {
      if (!over_) parser_.Parse(block.data(), static_cast<unsigned>(block.size()));
    }
    return lines_;
  }

 private:
  void OnPkConnectResult(const char*, int) override { lines_.push_back("connect"); }
  void OnPkSession(const char*, int) override { lines_.push_back("session"); }
  void OnMessage(int msgCode, char* message, std::size_t length) override {
    lines_.push_back(std::to_string(msgCode) + " " + std::string(message + 5, message + length));
  }
  void OnStreamBroken(const char* reason) override {
    lines_.push_back(reason);
    over_ = true;
  }

  std::atomic<bool> over_{false};
  VekApi::TPacketParser parser_{*this, over_};
  Lines lines_;
};

TEST(PacketParser, BrokenStreams) {
  for (const std::string& start : {std::string(), Pack(1, ""), Message(3, "piece")}) {
    for (const std::string& bad : {std::string("\0\0\x82", 3), std::string("\x02\0\x01", 3)}) {
      for (std::size_t cut = 0; cut <= (start + bad).size(); ++cut) {
        EXPECT_EQ(Listener().Receive(start + bad + Message(130, "not believed"), cut),
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

}  // namespace
}  // namespace vektest
