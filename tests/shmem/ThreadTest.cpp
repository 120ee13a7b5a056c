#include <gtest/gtest.h>

#include "platform/os/Event.h"
#include "shmem/TThread.h"

namespace Dova {
namespace {

class BodyThread : public TThread {
 public:
  BodyThread() : TThread("test") {}
  ~BodyThread() override { Stop(true); }
  Os::TEvent release;

 protected:
  void Execute() override { release.Wait(); }
  void OnStopRequest() override {}
};

TEST(Thread, StopIsBounded) {
  BodyThread thread;
  thread.Start();
  thread.Stop(true);
  EXPECT_EQ(thread.State(), TThread::rs_Stopping) << "given up after about a second";
  thread.release.Set();
  thread.Stop(true);
  EXPECT_EQ(thread.State(), TThread::rs_Stopped);
}

}  // namespace
}  // namespace Dova
