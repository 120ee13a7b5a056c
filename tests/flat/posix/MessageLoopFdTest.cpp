// For systems where event loops watch descriptors.
#include <poll.h>
#include <sys/resource.h>

#include "flat/LoopSession.h"

namespace vektest {
namespace {

bool IsReadable(int fd, int timeoutMs = 0) {
  pollfd entry{fd, POLLIN, 0};
  return poll(&entry, 1, timeoutMs) == 1;
}

TEST_F(LoopSession, TheDescriptorIsReadableWhileThereIsWork) {
  SignOnOnLoop();
  std::thread([&] { mes->Deliver(Message(130, "a")); }).join();
  const int fd = CVekMessageLoop_Fd();
  ASSERT_GE(fd, 0);
  EXPECT_EQ(CVekMessageLoop_Fd(), fd);
  EXPECT_TRUE(IsReadable(fd)) << "also for what came before it was asked for";
  CVekMessageLoop_Dispatch(0);
  EXPECT_FALSE(IsReadable(fd));
  const auto link = mes;
  std::thread network([&] { link->Deliver(TaskResult("w", "\x02T\n")); });
  EXPECT_TRUE(IsReadable(fd, 60'000)) << "for what is sent, too";
  EXPECT_EQ(CVekMessageLoop_Dispatch(0), 1);
  network.join();
  EXPECT_FALSE(IsReadable(fd));
  std::thread([&] { mes->Deliver(Message(130, "b")); }).join();
  CVekClient_Delete(&client);
  EXPECT_FALSE(IsReadable(fd)) << "what is dropped does not wait";
}

TEST_F(LoopSession, AFullMessageQueueIsTriedAgain) {
  SignOnOnLoop();
  NoHandler handler;
  const auto window = Dova::Os::AllocateHWnd_Impl(handler);
  int posts = 0;
  while (window->Post(1100) == Dova::Os::EPost::Posted) ASSERT_LE(++posts, 10'000);
  Queue(Message(130, "a"));
  time.Advance(1000);  // still full
  DispatchAll();
  EXPECT_EQ(Take(), Lines{});
  Queue(Message(130, "b"));
  time.Advance(999);
  DispatchAll();
  EXPECT_EQ(Take(), Lines{}) << "before the retry";
  time.Advance(1);
  DispatchAll();
  EXPECT_EQ(Take(), (Lines{"report a", "report b"}));
  Dova::Os::DeallocateHWnd(window);
}

TEST(MessageLoopCreation, WithoutADescriptorThereIsNoClient) {
  std::thread([] {
    rlimit before{};
    getrlimit(RLIMIT_NOFILE, &before);
    rlimit none{0, before.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
    const CVekClient client = CVekClient_Create_OnMessageLoop(nullptr, nullptr);
    EXPECT_EQ(CVekMessageLoop_Dispatch(0), -1);
    EXPECT_EQ(CVekMessageLoop_Fd(), -1);
    setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_EQ(client.object, nullptr);
    CVekClient second = CVekClient_Create_OnMessageLoop(nullptr, nullptr);
    EXPECT_NE(second.object, nullptr) << "it can be tried again";
    CVekClient_Delete(&second);
  }).join();
}

}  // namespace
}  // namespace vektest
