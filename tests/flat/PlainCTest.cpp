#include "PlainC.h"

#include "support/SessionFixture.h"

namespace vektest {
namespace {

TEST(PlainC, GoesThroughASession) {
  TestSupport::TVirtualTimerQueue time;
  PlainC plain;
  ASSERT_TRUE(PlainCOpen(&plain, ":TestMes:ok"));
  const Dstl::wise_ref<TestMes> mes = TestMes::Last();
  mes->Ready();
  mes->Deliver(ConnectResult(true, {}) + SgnResult("5\x01"
                                                   "1000",
                                                   true));
  EXPECT_EQ(plain.connects, 1);
  EXPECT_EQ(plain.ready, 1);
  mes->TakeSent();
  EXPECT_TRUE(PlainCAsk(&plain, "w1 products"));
  EXPECT_EQ(mes->TakeSent(), Message(128, "w1 products", true));
  mes->Deliver(TaskResult("w1", "\x02products\n\x03Prod\nTXF\n", true));
  EXPECT_STREQ(plain.first, "TXF");
  PlainCClose(&plain);
  EXPECT_EQ(plain.destroyed, 1);
}

}  // namespace
}  // namespace vektest
