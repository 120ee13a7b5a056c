// Memory of links that are idle.
#include <fstream>

#include "support/SessionFixture.h"

namespace vektest {
namespace {

using IdleLinkTest = SessionTest;

long ResidentPages() {
  long all = 0, resident = 0;
  std::ifstream("/proc/self/statm") >> all >> resident;
  return resident;
}

std::string InPieces(std::string message) {
  constexpr std::size_t kPiece = 4000;
  std::string packets;
  for (; message.size() > kPiece; message.erase(0, kPiece)) packets += Message(3, message.substr(0, kPiece));
  return packets + Message(128, message);
}

TEST_F(IdleLinkTest, HeartbeatGivesBackTheMemoryOfALargeResult) {
  constexpr std::size_t kBytes = 2'000'000;
  SignOn();
  FromServer(InPieces("\x02W1\xFF\xFF" + U32(kBytes, false) + std::string(kBytes - 1, 'x') + "\n"));
  recorder.Take();
  const long before = ResidentPages();
  time.Advance(30'000);
  EXPECT_GT(before - ResidentPages(), static_cast<long>(kBytes / 4096 / 2));
  EXPECT_EQ(mes->TakeSent(), Pack(1, ""));
  FromServer(TaskResult("W2",
                        "\x02T\n\x03"
                        "A\n1\n"));
  EXPECT_EQ(recorder.Take(), Lines{"result W2 \x02T\n\x03"
                                   "A\n1\n"});
}

}  // namespace
}  // namespace vektest
