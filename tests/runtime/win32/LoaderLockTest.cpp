// Calls made while another thread holds the loader lock and waits for them.
#include <windows.h>

#include <gtest/gtest.h>

#include "platform/os/Event.h"
#include "platform/os/Thread.h"
#include "runtime/AlarmClock.h"
#include "runtime/Shortage.h"

namespace {

using Dova::Os::HoldsLoaderLock;
using Dova::Os::TEvent;
using Dova::Os::TThread;
using TestSupport::kPatienceMs;

template <class TFunction>
TFunction Find(const char* name) {
  return reinterpret_cast<TFunction>(
      reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), name)));
}

// Holds the lock for its lifetime, as unloading a DLL does.
class TLoaderLock {
 public:
  TLoaderLock() { Find<LONG(NTAPI*)(ULONG, ULONG*, ULONG_PTR*)>("LdrLockLoaderLock")(0, nullptr, &cookie_); }
  ~TLoaderLock() { Find<LONG(NTAPI*)(ULONG, ULONG_PTR)>("LdrUnlockLoaderLock")(0, cookie_); }
  TLoaderLock(const TLoaderLock&) = delete;
  TLoaderLock& operator=(const TLoaderLock&) = delete;

 private:
  ULONG_PTR cookie_ = 0;
};

TEST(LoaderLock, IsSeenByItsHolder) {
  EXPECT_FALSE(HoldsLoaderLock());
  const TLoaderLock lock;
  EXPECT_TRUE(HoldsLoaderLock());
}

TEST(LoaderLock, IsNotNeededByAThreadThatIsThere) {
  TEvent held;
  TEvent go;
  TEvent done;
  TThread thread;
  TThread next;
  TestSupport::nextThreadHeld = &held;
  TestSupport::holdNextThread = &go;
  ASSERT_TRUE(thread.Start("first", [&] {
    EXPECT_FALSE(HoldsLoaderLock());
    EXPECT_FALSE(Dova::Os::ProcessIsExiting());
    EXPECT_TRUE(next.Start("next", [] {}));
    done.Set();
  }));
  ASSERT_TRUE(held.Wait(kPatienceMs));
  {
    const TLoaderLock lock;
    go.Set();
    EXPECT_TRUE(done.Wait(kPatienceMs));
    EXPECT_TRUE(thread.Join(kPatienceMs));
  }
  thread.Join();
  EXPECT_TRUE(next.Join());
}

}  // namespace
