// The TCP messenger if system calls fail or hang, or the process forks.
#include <gtest/gtest.h>

#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <list>
#include <thread>

#include "runtime/TcpLink.h"
#include "runtime/posix/Faults.h"
#include "shmem/TCoreRun.h"
#include "support/FullListener.h"
#include "support/TcpPeer.h"

namespace {

using TestSupport::Faults;
using TestSupport::TFullListener;
using TestSupport::TTcpLink;
using TestSupport::TTcpPeer;

struct TcpFault : testing::Test {
  TTcpPeer peer;
  const std::string address = "127.0.0.1:" + std::to_string(peer.Port());

  ~TcpFault() override {
    Faults().sendError = 0;
    Faults().lookUpHangs = false;
    while (Faults().lookUps != Faults().lookUpsDone) std::this_thread::yield();
    Faults().addresses.clear();
  }

  void Link(TTcpLink& link) {
    link.Open();
    ASSERT_TRUE(link.opened);
    peer.Accept();
    ASSERT_TRUE(link.Tells("ready;"));
  }

  // Sends until the system accepts no more and the rest is queued; returns what was sent.
  static std::size_t FillQueue(TTcpLink& link) {
    const std::string bytes(1'000'000, 'q');
    std::size_t total = 0;
    while (link.Send(bytes) != 0) total += bytes.size();
    return total;
  }
};

TEST_F(TcpFault, RefusedSendEndsTheLink) {
  for (const int error : {ENOBUFS, ENOMEM}) {
    TTcpLink link(address);
    Link(link);
    Faults().sendError = error;
    EXPECT_EQ(link.Send("order"), 0);
    Faults().sendError = 0;
    EXPECT_EQ(link.Send("order"), 0);
    EXPECT_TRUE(link.Tells("broken " + address + ": " + std::strerror(error) + ";"));
    EXPECT_TRUE(peer.SeesEnd());
  }
}

TEST_F(TcpFault, SendRefusedToTheQueueEndsTheLink) {
  TTcpLink link(address + " sq=4000000");
  Link(link);
  FillQueue(link);
  Faults().sendError = ENOBUFS;
  std::thread reader([&] {
    while (!peer.Read(100'000).empty()) continue;  // frees space
  });
  EXPECT_TRUE(link.Tells("broken " + address + ": " + std::strerror(ENOBUFS) + ";"));
  EXPECT_EQ(link.Send("order"), 0);
  reader.join();
}

TEST_F(TcpFault, AddressThatSwallowsPacketsDoesNotHoldUpTheNext) {
  const TFullListener silent;
  Faults().addresses = {{"127.0.0.1", silent.Port()}, {"127.0.0.1", peer.Port()}};
  TTcpLink link("several.test:1 ct=10000");
  Link(link);
  EXPECT_EQ(link.Send("x"), 1);
  EXPECT_EQ(peer.Read(1), "x");
}

TEST_F(TcpFault, KindsOfAddressTakeTurns) {
  const TFullListener silent;
  TTcpPeer six("::1");
  Faults().addresses.assign(60, {"127.0.0.1", silent.Port()});
  Faults().addresses.push_back({"::1", six.Port()});
  TTcpLink link("several.test:1 ct=10000");
  link.Open();
  EXPECT_TRUE(link.Tells("ready;")) << link.Told();
}

TEST_F(TcpFault, LookUpThatHangsEndsAtTheDeadlineAndCostsOneThread) {
  Faults().addresses = {{"127.0.0.1", peer.Port()}};
  Faults().lookUpHangs = true;
  const int before = Faults().lookUps;
  for (int i = 0; i < 5; ++i) {
    TTcpLink link("slow.test:1 ct=20");
    link.Open();
    EXPECT_TRUE(link.Tells("error slow.test:1: look-up timed out;"));
  }
  {
    TTcpLink closed("slow.test:1");
    closed.Open();  // closed at once, without waiting
  }
  TTcpLink patient("slow.test:1");
  patient.Open();
  EXPECT_EQ(Faults().lookUps - before, 1);
  Faults().lookUpHangs = false;
  peer.Accept();
  EXPECT_TRUE(patient.Tells("ready;"));
}

std::ptrdiff_t ThreadCount() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/task"), {});
}

TEST_F(TcpFault, FarewellsAreBounded) {
  std::list<TTcpPeer> peers(60);
  const auto before = ThreadCount();
  for (TTcpPeer& each : peers) {
    TTcpLink link("127.0.0.1:" + std::to_string(each.Port()));
    link.Open();
    each.Accept();
    ASSERT_TRUE(link.Tells("ready;"));
  }
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
  TTcpLink link(address + " spin=20");
  Link(link);
  FillQueue(link);
  peer.Write("x");
  EXPECT_TRUE(link.Tells("received;"));
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
  auto link = std::make_unique<TTcpLink>(address);
  Link(*link);
  ASSERT_TRUE(IsConnectedTo(peer.Port()));
  const pid_t child = fork();
  if (child == 0) {
    alarm(20);
    const bool kept = IsConnectedTo(peer.Port());
    const bool sent = link->Send("from the child") != 0;
    link->mes->Close();
    _exit(kept ? 1 : sent ? 2 : 0);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(link->Send("x"), 1);
  EXPECT_EQ(peer.Read(1), "x");
}

// What begins the network is its first look-up.
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
