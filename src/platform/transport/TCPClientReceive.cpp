// Receiving: the link thread.
#include <algorithm>
#include <utility>

#include "platform/os/Clock.h"
#include "platform/os/GiveBack.h"
#include "platform/transport/TCPClient.h"

namespace Dova {
namespace {

// After some reads in a row, at different ticks, that needed no more than this, all of the buffer that the
// last one left free is given back: most sessions are idle most of the time.
constexpr int kCalmBytes = 4096;
constexpr int kCalmReads = 4;

}  // namespace

void TCPClient::Receive(Os::TSocket& socket) {
  do {
    const std::ptrdiff_t count = ReceiveSome(socket);
    if (count <= 0) {
      if (count < 0) return EndBySystem();
      return End(Address() + ": closed by the peer", Os::ECause::ClosedByPeer);
    }
    receivedAt_ = 0;
    receivedCount_ = static_cast<int>(count);
    GiveBackUnneeded();
  } while (Raise([this](TMesEvHandler& handler) { handler.OnMesRecvReady(this); }));
}

void TCPClient::GiveBackUnneeded() {
  if (receivedCount_ > kCalmBytes) {
    untilCalm_ = kCalmReads;
    return;
  }
  if (untilCalm_ == 0) return;
  const std::int64_t now = Os::Tick();
  if (std::exchange(calmAt_, now) != now && --untilCalm_ == 0)
    Os::GiveBack(received_.get() + receivedCount_, static_cast<std::size_t>(kBufferBytes - receivedCount_));
}

std::ptrdiff_t TCPClient::ReceiveSome(Os::TSocket& socket) {
  if (setting_.spinUs > 0) {
    const std::ptrdiff_t count = Poll(socket);
    if (count != Os::TSocket::kWouldWait) return count;
  }
  return socket.Recv(received_.get(), kReceiveBytes);
}

std::ptrdiff_t TCPClient::Poll(Os::TSocket& socket) {
  const Os::TTime due = Os::TClock::now() + std::chrono::microseconds(setting_.spinUs);
  std::ptrdiff_t count = 0;
  do {
    count = socket.TryRecv(received_.get(), kReceiveBytes);
  } while (count == Os::TSocket::kWouldWait && Os::TClock::now() < due);
  return count;
}

int TCPClient::Recv(char* buffer, int size) {
  const int count = std::min(size, receivedCount_ - receivedAt_);
  std::copy_n(received_.get() + receivedAt_, std::max(count, 0), buffer);
  receivedAt_ += std::max(count, 0);
  return count;
}

char* TCPClient::RecvInPlace(int& count) {
  count = receivedCount_ - receivedAt_;
  return received_.get() + std::exchange(receivedAt_, receivedCount_);
}

}  // namespace Dova
