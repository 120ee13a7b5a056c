#include <gtest/gtest.h>

#include "platform/os/Event.h"
#include "shmem/TThread.h"

namespace Dova {
namespace {

class BodyThread : public TThread {
 public:
  BodyThread(Os::TEvent& release, Os::TEvent& deleted)
      : TThread("test"), release_(release), deleted_(deleted) {}
  ~BodyThread() override { deleted_.Set(); }

 protected:
  void Execute() override { release_.Wait(); }
  void OnStopRequest() override {}

 private:
  Os::TEvent& release_;
  Os::TEvent& deleted_;
};

TEST(Thread, StopIsBounded) {
  Os::TEvent release, deleted;
  BodyThread thread(release, deleted);
  thread.Start();
  thread.Stop(true);
  EXPECT_EQ(thread.State(), TThread::rs_Stopping) << "given up after about a second";
  release.Set();
  thread.Stop(true);
  EXPECT_EQ(thread.State(), TThread::rs_Stopped);
}

TEST(Thread, DisposedItIsDeletedWhenItsBodyEnds) {
  static Os::TEvent release, deleted;  // the thread may still be inside Set when the test ends
  auto* const thread = new BodyThread(release, deleted);
  thread->Start();
  thread->Stop(false);
  thread->Dispose();
  EXPECT_FALSE(deleted.Wait(0));
  release.Set();
  EXPECT_TRUE(deleted.Wait(30'000));
}

}  // namespace
}  // namespace Dova
