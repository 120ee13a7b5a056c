// The TCP messenger when look-ups hang, descriptors are numerous, or the process forks.
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <list>
#include <thread>

#include "platform/os/Clock.h"
#include "platform/transport/TFarewells.h"
#include "runtime/TcpLink.h"
#include "runtime/posix/Faults.h"
#include "shmem/TCoreRun.h"
#include "support/Forked.h"

namespace vektest {
namespace {

using TestSupport::Faults;
using TestSupport::TFullListener;
using TestSupport::TTcpPeer;

struct TcpFault : testing::Test {
  TTcpPeer peer;

  ~TcpFault() override {
    Faults().lookUpHangs = false;
    while (Faults().lookUps != Faults().lookUpsDone) std::this_thread::yield();
    Faults().addresses.clear();
  }
};

// Nor do addresses that drop all packets delay the next.
TEST_F(TcpFault, KindsOfAddressTakeTurns) {
  const TFullListener silent;
  TTcpPeer six("::1");
  Faults().addresses.assign(60, {"127.0.0.1", silent.Port()});
  Faults().addresses.push_back({"::1", six.Port()});
  TcpLink link("several.test:1 ct=10000");
  link.Open();
  EXPECT_TRUE(link.WaitFor("ready"));
}

TEST_F(TcpFault, LookUpThatHangsEndsAtTheDeadlineAndCostsOneThread) {
  Faults().addresses = {{"127.0.0.1", peer.Port()}};
  Faults().lookUpHangs = true;
  const int before = Faults().lookUps;
  for (int i = 0; i < 5; ++i) {
    TcpLink link("slow.test:1 ct=20");
    link.Open();
    EXPECT_TRUE(link.WaitFor("error slow.test:1: look-up timed out"));
  }
  TcpLink("slow.test:1").Open();  // closed at once, without waiting
  TcpLink patient("slow.test:1");
  patient.Open();
  EXPECT_EQ(Faults().lookUps - before, 1);
  Faults().lookUpHangs = false;
  peer.Accept();
  EXPECT_TRUE(patient.WaitFor("ready"));
}

std::ptrdiff_t ThreadCount() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/task"), {});
}

TEST_F(TcpFault, FarewellsAreBounded) {
  std::list<TTcpPeer> peers(60);
  const auto before = ThreadCount();
  for (TTcpPeer& each : peers) const TcpLink link(each);
  // A thread that has ended is listed a moment longer; a farewell takes twice this time.
  const auto until = Dova::Os::TClock::now() + std::chrono::milliseconds(Dova::TFarewells::kLongestMs / 2);
  while (ThreadCount() > before + 33 && Dova::Os::TClock::now() < until) std::this_thread::yield();
  EXPECT_LE(ThreadCount(), before + 33) << "32 that wait for their peers, and the one that watches them";
  peers.clear();
  while (ThreadCount() > before) std::this_thread::yield();
}

TEST_F(TcpFault, WorksAboveTheDescriptorsOfSelect) {
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = std::min<rlim_t>(limit.rlim_max, 3000);
  setrlimit(RLIMIT_NOFILE, &limit);
  std::vector<int> taken;
  while (taken.empty() || taken.back() < 1500) {
    taken.push_back(dup(0));
    ASSERT_GE(taken.back(), 0);
  }
  TcpLink link(peer, " spin=20");
  while (link.Send(std::string(1'000'000, 'q')) != 0) continue;
  peer.Write("x");
  EXPECT_TRUE(link.WaitFor("received"));
  for (const int each : taken) close(each);
}

// True if this process holds a descriptor of a connection to that port.
bool IsConnectedTo(std::uint16_t port) {
  for (int descriptor = 3; descriptor < 1024; ++descriptor) {
    sockaddr_in to{};
    socklen_t size = sizeof to;
    if (getpeername(descriptor, reinterpret_cast<sockaddr*>(&to), &size) == 0 && ntohs(to.sin_port) == port)
      return true;
  }
  return false;
}

TEST_F(TcpFault, ForkedChildKeepsNothingAndDisturbsNothing) {
  TcpLink link(peer);
  ASSERT_TRUE(IsConnectedTo(peer.Port()));
  EXPECT_EQ(TestSupport::ExitCodeOfChild([&] {
              const bool kept = IsConnectedTo(peer.Port());
              const bool sent = link.Send("from the child") != 0;
              link.mes->Close();
              return kept ? 1 : sent ? 2 : 0;
            }),
            0);
  EXPECT_EQ(link.Send("x"), 1);
  EXPECT_EQ(peer.Read(1), "x");
}

// The first look-up starts the network.
TEST(CoreRun, IsNotHandedOutBeforeItIsInitialised) {
  Dova::Os::TEvent acquired;
  Faults().numbersHang = true;
  std::thread user([&] {
    const Dova::TCoreRunRef core;
    acquired.Set();
  });
  EXPECT_FALSE(acquired.Wait(200));
  Faults().numbersHang = false;
  user.join();
}

}  // namespace
}  // namespace vektest
