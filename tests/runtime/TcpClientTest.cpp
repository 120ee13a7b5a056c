// The TCP messenger against a peer controlled by the test.
#include <gtest/gtest.h>

#include <new>

#include "platform/os/Clock.h"
#include "runtime/Shortage.h"
#include "runtime/TcpLink.h"
#include "support/FullListener.h"
#include "support/TcpPeer.h"

namespace {

using TestSupport::TTcpLink;
using TestSupport::TTcpPeer;

std::string At(std::uint16_t port, const std::string& options = "") {
  return "127.0.0.1:" + std::to_string(port) + " n M0" + options;
}

struct TcpClient : testing::Test {
  TTcpPeer peer;

  void Link(TTcpLink& link) {
    link.Open();
    ASSERT_TRUE(link.opened);
    peer.Accept();
    ASSERT_TRUE(link.Tells("ready;"));
  }
};

TEST_F(TcpClient, TakesNothingBeforeItsHandlerWasGreeted) {
  TTcpLink link(At(peer.Port()));
  link.onReady = [&] { EXPECT_EQ(link.Send("hello"), 5); };
  link.InContext([&] {
    ASSERT_TRUE(link.mes->Open());
    peer.Accept();
    // The link is up and its thread waits for this one to leave: long enough for a wrongly accepted send.
    const auto until = Dova::Os::MonotonicNs() + 100'000'000;
    while (Dova::Os::MonotonicNs() < until) ASSERT_EQ(link.Send("early"), 0);
  });
  EXPECT_EQ(peer.Read(5), "hello");
}

TEST_F(TcpClient, BoundOfTheQueueHoldsForTheFirstSendToo) {
  TTcpLink link(At(peer.Port(), " sq=1000"));
  Link(link);
  EXPECT_EQ(link.Send(std::string(1001, 'a')), 0);
  EXPECT_EQ(link.Send(std::string(1000, 'b')), 1000);
  EXPECT_EQ(peer.Read(1000), std::string(1000, 'b'));
}

// The messenger is neither closed nor released.
TEST_F(TcpClient, SocketIsGoneOnceTheBrokenLinkWasTold) {
  TTcpLink link(At(peer.Port()));
  Link(link);
  peer.CloseSending();
  EXPECT_TRUE(
      link.Tells("broken " + At(peer.Port()).substr(0, At(peer.Port()).find(' ')) + ": closed by the peer;"));
  EXPECT_TRUE(peer.SeesEnd());
}

TEST_F(TcpClient, HandlerWithoutMemoryEndsTheLink) {
  TTcpLink link(At(peer.Port()));
  link.onReceived = [](const std::string&) { throw std::bad_alloc(); };
  Link(link);
  peer.Write("x");
  EXPECT_TRUE(link.Tells("broken Out of memory;"));
  EXPECT_EQ(link.Send("y"), 0);
  EXPECT_TRUE(peer.SeesEnd());
}

// Part of a send that cannot be queued whole may already be sent: the link must end.
TEST_F(TcpClient, QueueWithoutAThreadEndsTheLink) {
  TTcpLink link(At(peer.Port(), " sq=2000000000"));
  Link(link);
  const std::string bytes(1'000'000, 'q');
  TestSupport::refuseThreads = true;
  while (link.Send(bytes) != 0) continue;
  TestSupport::refuseThreads = false;
  EXPECT_TRUE(link.Tells("broken 127.0.0.1:" + std::to_string(peer.Port()) + ": no thread to send;"));
}

TEST_F(TcpClient, QueueWithoutMemoryEndsTheLink) {
  TTcpLink link(At(peer.Port(), " sq=2000000000"));
  Link(link);
  const std::string bytes(1'000'000, 'q');
  for (int sent = 1; sent != 0;) {
    const TestSupport::TNoMemory none;
    sent = link.mes->Send(bytes.data(), 1'000'000);
  }
  EXPECT_TRUE(link.Tells("broken "));
}

// The peer has sent more than was read, and continues sending: a reset would discard data it has not read.
// Whether a reset occurs depends on timing, hence several rounds.
TEST_F(TcpClient, WhatWasSentBeforeCloseArrivesWhateverIsUnread) {
  peer.SmallReceiveBuffer();
  const std::string order(60'000, 'o');  // several of them exceed what the peer's system buffers unread
  for (int round = 0; round < 8; ++round) {
    TTcpLink link(At(peer.Port()));
    link.onReceived = [&](const std::string&) {
      for (int i = 0; i < 6; ++i) EXPECT_EQ(link.Send(order), 60'000);
      link.mes->Close();
    };
    Link(link);
    for (int i = 0; i < 4; ++i) peer.Write(std::string(100'000, 'x'));
    ASSERT_TRUE(link.Tells("received;"));
    for (int i = 0; i < 36; ++i) {
      peer.Write(std::string(100'000, 'x'));
      ASSERT_EQ(peer.Read(10'000).size(), 10'000u);
    }
    EXPECT_TRUE(peer.SeesEnd());
  }
}

TEST_F(TcpClient, CloseIsSeenAtOnceAndAPeerThatDoesNotCloseIsCutOff) {
  TTcpLink link(At(peer.Port()));
  Link(link);
  const auto began = Dova::Os::MonotonicNs();
  link.InContext([&] { link.mes->Close(); });
  EXPECT_LT(Dova::Os::MonotonicNs() - began, 1'500'000'000) << "waits for the peer";
  EXPECT_TRUE(peer.SeesEnd());
  EXPECT_TRUE(peer.IsCutOff());
}

TEST(TcpConnect, DeadlineIsTold) {
  const TestSupport::TFullListener silent;
  TTcpLink link(At(silent.Port(), " ct=50"));
  link.Open();
  EXPECT_TRUE(link.Tells("error 127.0.0.1:" + std::to_string(silent.Port()) + ": connecting timed out;"));
  EXPECT_EQ(link.mes->LinkTimeoutMs(), 5050);
}

}  // namespace
