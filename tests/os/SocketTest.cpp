#include "platform/os/Socket.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "platform/os/Clock.h"
#include "platform/os/Event.h"
#include "platform/os/Thread.h"
#include "support/TcpPeer.h"

namespace {

using Dova::Os::ResolveNumeric;
using Dova::Os::TEndpoint;
using Dova::Os::TSocket;
using TestSupport::TTcpPeer;

constexpr std::size_t kMuch = 16 * 1024 * 1024;  // more than the systems buffer on both sides

std::string Pattern(std::size_t size) {
  std::string bytes(size, '\0');
  std::uint32_t state = 12345;
  for (char& byte : bytes) {
    state = state * 1664525U + 1013904223U;
    byte = static_cast<char>(state >> 24);
  }
  return bytes;
}

Dova::Os::TTime InMs(int ms) {
  return Dova::Os::TClock::now() + std::chrono::milliseconds(ms);
}

std::vector<TEndpoint> Local(std::uint16_t port, const char* address = "127.0.0.1") {
  return ResolveNumeric(address, port);
}

struct SocketTest : testing::Test {
  TTcpPeer peer;
  TSocket socket;

  void Connect() {
    Dova::Os::TError error;
    ASSERT_TRUE(socket.Connect(Local(peer.Port()), InMs(10000), error)) << error.Text();
    peer.Accept();
  }

  // Sends until nothing more is accepted; returns the number of bytes.
  std::size_t Fill(const std::string& bytes) {
    std::size_t total = 0;
    for (;;) {
      const auto taken = socket.TrySend(bytes.data() + total, bytes.size() - total);
      EXPECT_GE(taken, 0);
      if (taken <= 0) return total;
      total += static_cast<std::size_t>(taken);
    }
  }
};

TEST_F(SocketTest, TryRecvDoesNotWait) {
  Connect();
  char byte = 0;
  EXPECT_EQ(socket.TryRecv(&byte, 1), TSocket::kWouldWait);
  peer.Write("xy");
  ASSERT_EQ(socket.Recv(&byte, 1), 1);
  EXPECT_EQ(socket.TryRecv(&byte, 1), 1);
  EXPECT_EQ(byte, 'y');
  EXPECT_EQ(socket.TryRecv(&byte, 1), TSocket::kWouldWait);
  peer.Close();
  EXPECT_EQ(socket.Recv(&byte, 1), 0);
  std::ptrdiff_t ended = TSocket::kWouldWait;
  while (ended == TSocket::kWouldWait) ended = socket.TryRecv(&byte, 1);
  EXPECT_EQ(ended, 0);
}

TEST_F(SocketTest, PeerResetIsAFailureWithAText) {
  Connect();
  peer.Reset();
  char byte = 0;
  EXPECT_LE(socket.Recv(&byte, 1), 0);  // Wine reports a reset as an end
  EXPECT_LT(socket.TrySend(&byte, 1), 0);
  EXPECT_TRUE(socket.LastError());
}

// The caller may overwrite the bytes as soon as TrySend returns, even while the system still holds them.
TEST_F(SocketTest, TakenBytesAreCopied) {
  Connect();
  const std::string all = Pattern(kMuch);
  std::string scratch = all;
  std::size_t sent = 0;
  for (;;) {
    const auto taken = socket.TrySend(scratch.data() + sent, scratch.size() - sent);
    if (taken <= 0) break;
    std::fill_n(scratch.begin() + static_cast<std::ptrdiff_t>(sent), taken, '\0');
    sent += static_cast<std::size_t>(taken);
  }
  EXPECT_TRUE(peer.Read(sent) == all.substr(0, sent));
}

// Calls Abort while another thread runs `wait`, with a delay that grows with the round.
template <class TWait>
void AbortInRound(TSocket& socket, int round, TWait wait) {
  Dova::Os::TEvent entering;
  std::thread waiter([&] {
    entering.Set();
    wait();
  });
  entering.Wait();
  const auto until = Dova::Os::MonotonicNs() + round * 20'000;
  while (Dova::Os::MonotonicNs() < until) std::this_thread::yield();
  socket.Abort();
  waiter.join();
}

TEST(SocketAbort, EndsAWaitingRecvWheneverItComes) {
  for (int round = 0; round < 60; ++round) {
    TTcpPeer peer;
    TSocket socket;
    Dova::Os::TError error;
    ASSERT_TRUE(socket.Connect(Local(peer.Port()), InMs(10000), error)) << error.Text();
    AbortInRound(socket, round, [&] {
      char byte = 0;
      EXPECT_LE(socket.Recv(&byte, 1), 0);
      EXPECT_LE(socket.Recv(&byte, 1), 0);
      EXPECT_LE(socket.TryRecv(&byte, 1), 0);
      EXPECT_NE(socket.TryRecv(&byte, 1), TSocket::kWouldWait);
      EXPECT_LT(socket.TrySend("x", 1), 0);
      EXPECT_FALSE(socket.WaitWritable());
    });
  }
}

TEST_F(SocketTest, AbortEndsAWaitForRoom) {
  Connect();
  const std::string all = Pattern(kMuch);
  ASSERT_LT(Fill(all), all.size());
  AbortInRound(socket, 60, [&] { EXPECT_FALSE(socket.WaitWritable()); });
}

TEST(SocketConnect, AbortEndsItWheneverItComes) {
  const TestSupport::TFullListener silent;
  for (int round = 0; round < 60; ++round) {
    TSocket socket;
    Dova::Os::TError error;
    AbortInRound(socket, round,
                 [&] { EXPECT_FALSE(socket.Connect(Local(silent.Port()), InMs(60000), error)); });
    EXPECT_NE(error.Text(), "");
    EXPECT_FALSE(socket.Connect(Local(silent.Port()), InMs(60000), error));
  }
}

TEST(SocketConnect, RefusedThenAnotherAddress) {
  asio::io_context io;
  const asio::ip::tcp::socket deaf(io, {asio::ip::make_address("127.0.0.1"), 0});  // bound, not listening
  TTcpPeer peer("::1");
  TSocket socket;
  Dova::Os::TError error;
  EXPECT_FALSE(socket.Connect(Local(deaf.local_endpoint().port()), InMs(10000), error));
  EXPECT_NE(error.Text(), "");
  EXPECT_TRUE(socket.Connect(Local(peer.Port(), "::1"), InMs(10000), error)) << error.Text();
}

TEST(Resolve, NumbersAndNames) {
  EXPECT_TRUE(ResolveNumeric("localhost", 1).empty());
  EXPECT_TRUE(ResolveNumeric("", 1).empty());
  Dova::Os::TError error;
  EXPECT_FALSE(Dova::Os::ResolveName("localhost", 1, error).empty()) << error.Text();
  EXPECT_TRUE(Dova::Os::ResolveName("no-such-host.invalid", 1, error).empty());
  EXPECT_NE(error.Text(), "");
}

}  // namespace
