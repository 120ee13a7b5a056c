// The runtime's memory queue, settings and threads.
#include <gtest/gtest.h>

#include <random>

#include "platform/transport/TCPSetting.h"
#include "platform/transport/TMemQueue.h"
#include "shmem/TCoreRun.h"
#include "shmem/TThread.h"

namespace Dova {
namespace {

TEST(MemQueue, GivesBackWhatWasPutInInOrder) {
  std::mt19937 random(7);
  TMemQueue queue(64);
  std::string in;
  std::string out;
  for (int round = 0; round < 2000; ++round) {
    std::string bytes(random() % 200, '\0');
    for (char& byte : bytes) byte = static_cast<char>(random());
    queue.Append(bytes.data(), bytes.size());
    in += bytes;
    for (int i = 0; i < 4; ++i) {
      const char* block = nullptr;
      const std::size_t count = queue.GetMemBlock(block);
      const std::size_t used = count == 0 ? 0 : random() % (count + 1);
      out.append(block ? block : "", used);
      const std::size_t left = queue.SetMemUsed(used);
      EXPECT_EQ(left, queue.Size());
    }
    ASSERT_EQ(in.size() - out.size(), queue.Size());
  }
  const char* block = nullptr;
  while (const std::size_t count = queue.GetMemBlock(block)) {
    out.append(block, count);
    queue.SetMemUsed(count);
  }
  EXPECT_EQ(out, in);
}

TEST(TCPSetting, WhatIsUnderstood) {
  const auto setting = TTCPSetting::Parse("[fe80::1]:9000  spin=50 n  sq=1000 mm=4096 M0 ct=5");
  ASSERT_TRUE(setting);
  EXPECT_EQ(setting->host, "fe80::1");
  EXPECT_EQ(setting->port, 9000);
  EXPECT_TRUE(setting->noDelay);
  EXPECT_EQ(setting->spinUs, 50);
  EXPECT_EQ(setting->sendQueueBytes, 1000u);
  EXPECT_EQ(setting->maxMessageBytes, 4096u);
  EXPECT_EQ(setting->connectTimeoutMs, 5);
  EXPECT_TRUE(TTCPSetting::Parse("gw.example:1 n n M0"));
}

TEST(TCPSetting, AnythingElseIsRefused) {
  for (const char* text : {"",
                           ":1",
                           "h",
                           "h:",
                           "h:0",
                           "h:65536",
                           "h:+1",
                           "h:1x",
                           "h:1 N",
                           "h:1 M1",
                           "h:1 n=1",
                           "h:1 ct",
                           "h:1 ct=",
                           "h:1 ct=-1",
                           "h:1 ct=1s",
                           "h:1 ct=1 ct=1",
                           "h:1 sq=99999999999",
                           "h:1 spin=1000001",
                           "h:1 mm=4095",
                           "h:1 mm=1073741825",
                           "::1:5",
                           "[]:5",
                           "[::1]5",
                           "a b:1",
                           "h:1\tn"}) {
    EXPECT_FALSE(TTCPSetting::Parse(text)) << text;
  }
  for (const char* text : {"h:1\0n", "h\0:1"}) EXPECT_FALSE(TTCPSetting::Parse(std::string(text, 5)));
  std::string refused;
  EXPECT_FALSE(TTCPSetting::Parse("h:1 n ct=x M0", &refused));
  EXPECT_EQ(refused, "ct=x");
}

class BodyThread : public TThread {
 public:
  BodyThread() : TThread("test") {}
  ~BodyThread() override { Stop(true); }
  std::atomic<bool> stubborn{false};
  Os::TEvent release;

 protected:
  void Execute() override { release.Wait(); }
  void OnStopRequest() override {
    if (!stubborn) release.Set();
  }
};

TEST(Thread, StatesAndBoundedStop) {
  BodyThread never;
  never.Stop(true);
  EXPECT_EQ(never.State(), TThread::rs_Stopped);
  never.Start();
  EXPECT_EQ(never.State(), TThread::rs_Stopped) << "starts only once";

  BodyThread thread;
  thread.Start();
  EXPECT_EQ(thread.State(), TThread::rs_Running);
  EXPECT_NE(thread.ThreadId(), 0u);
  thread.stubborn = true;
  thread.Stop(true);
  EXPECT_EQ(thread.State(), TThread::rs_Stopping) << "given up after about a second";
  thread.release.Set();
  thread.Stop(true);
  EXPECT_EQ(thread.State(), TThread::rs_Stopped);
  EXPECT_EQ(thread.ThreadId(), 0u);
}

TEST(CoreRun, LivesFromTheFirstUserToTheLast) {
  TCoreRun& first = TCoreRun::Acquire();
  EXPECT_EQ(first.State(), TThread::rs_Running);
  EXPECT_EQ(&TCoreRun::Acquire(), &first);
  EXPECT_FALSE(TCoreRun::Release());
  EXPECT_TRUE(TCoreRun::Release());
  EXPECT_FALSE(TCoreRun::Release());
  TCoreRun& next = TCoreRun::Acquire();
  EXPECT_EQ(next.State(), TThread::rs_Running);
  EXPECT_TRUE(TCoreRun::Release());
}

}  // namespace
}  // namespace Dova
