// The queue of the TCP messenger, and how it closes a connection.
#include "platform/os/Clock.h"
#include "runtime/TcpLink.h"

namespace vektest {
namespace {

using TestSupport::TTcpPeer;

// The peer has sent more than was read, and continues sending: a reset would discard data it has not read.
// Whether a reset occurs depends on timing, hence several rounds.
TEST(TcpClient, WhatWasSentBeforeCloseArrivesWhateverIsUnread) {
  TTcpPeer peer;
  peer.SmallReceiveBuffer();
  const std::string order(60'000, 'o');  // several of them exceed what the peer's system buffers unread
  for (int round = 0; round < 8; ++round) {
    TcpLink link(peer);
    link.onEvent = [&](const std::string&) {
      for (int i = 0; i < 6; ++i) EXPECT_EQ(link.Send(order), 60'000);
      link.mes->Close();
    };
    for (int i = 0; i < 4; ++i) peer.Write(std::string(100'000, 'x'));
    ASSERT_TRUE(link.WaitFor("received"));
    for (int i = 0; i < 36; ++i) {
      peer.Write(std::string(100'000, 'x'));
      ASSERT_EQ(peer.Read(10'000).size(), 10'000u);
    }
    EXPECT_TRUE(peer.SeesEnd());
  }
}

TEST(TcpClient, WhatWaitsForAStoppedPeerIsBoundedAndArrives) {
  TTcpPeer peer;
  TcpLink link(peer, " sq=200000");
  std::size_t sent = 0;
  for (int taken = 1; taken != 0; sent += static_cast<std::size_t>(taken)) {
    taken = link.Send(std::string(9000, static_cast<char>('a' + sent / 9000 % 26)));
    ASSERT_LT(sent, std::size_t{100'000'000}) << "nothing bounds the queue";
  }
  const std::string received = peer.Read(sent);
  ASSERT_EQ(received.size(), sent);
  for (std::size_t at = 0; at < sent; ++at) ASSERT_EQ(received[at], 'a' + at / 9000 % 26) << at;
  EXPECT_EQ(link.Send("room again"), 10);
}

// Closed by the application or, without that, broken by the peer.
TEST(TcpClient, CloseIsSeenAtOnceAndAPeerThatDoesNotCloseIsCutOff) {
  TTcpPeer peer;
  TcpLink closed(peer);
  const auto began = Dova::Os::MonotonicNs();
  closed.InContext([&] { closed.mes->Close(); });
  EXPECT_LT(Dova::Os::MonotonicNs() - began, 1'500'000'000) << "waits for the peer";
  EXPECT_TRUE(peer.SeesEnd());
  EXPECT_TRUE(peer.IsCutOff());

  TcpLink broken(peer);
  peer.CloseSending();
  EXPECT_TRUE(broken.WaitFor("broken " + TcpLink::At(peer) + ": closed by the peer"));
  EXPECT_TRUE(peer.SeesEnd());
}

}  // namespace
}  // namespace vektest
