#include "ShMemPeer.h"

#include <algorithm>
#include <asio.hpp>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <vector>

#include "sim/SimRings.h"

namespace shmempeer {
namespace {

using asio::ip::tcp;
using VekSim::SimRings;

void Tell(const std::string& line) {
  std::printf("%s\n", line.c_str());
  std::fflush(stdout);
}

void Work(int us) {
  const auto due = std::chrono::steady_clock::now() + std::chrono::microseconds(us);
  while (std::chrono::steady_clock::now() < due) continue;
}

void Echo(SimRings& rings, int lateUs) {
  char buffer[4096];
  while (rings.Wait(-1, false) != 0) {
    for (int count = 0; (count = rings.Read(buffer, sizeof buffer)) > 0;) {
      if (lateUs > 0) Work(lateUs);
      rings.Write(buffer, static_cast<std::size_t>(count));
    }
  }
}

void Sink(SimRings& rings) {
  std::vector<char> buffer(32768);
  std::uint64_t arrived = 0, credited = 0;
  for (;;) {
    const int count = rings.Read(buffer.data(), buffer.size());
    if (count < 0) std::exit(5);
    if (count == 0) rings.Wait(-1, false);
    arrived += static_cast<std::uint64_t>(count);
    for (; credited + kCreditBytes <= arrived; credited += kCreditBytes) rings.Write("+", 1);
  }
}

// Starts on request.
void Source(SimRings& rings) {
  const std::vector<char> message(kMessageBytes, 'x');
  char go = 0;
  while (rings.Read(&go, 1) == 0) rings.Wait(-1, false);
  for (std::size_t i = 0; i < kMessages; ++i) {
    for (std::size_t at = 0; at < kMessageBytes;) {
      const int count = rings.Write(message.data() + at, kMessageBytes - at);
      if (count < 0) std::exit(5);
      if (count == 0) rings.Wait();
      at += static_cast<std::size_t>(count);
    }
  }
  for (;;) rings.Wait();
}

void EchoOverTcp() {
  asio::io_context io;
  tcp::acceptor acceptor(io, tcp::endpoint(asio::ip::address_v4::loopback(), 0));
  Tell(std::to_string(acceptor.local_endpoint().port()));
  tcp::socket socket = acceptor.accept();
  socket.set_option(tcp::no_delay(true));
  char buffer[4096];
  asio::error_code ended;
  while (const std::size_t count = socket.read_some(asio::buffer(buffer), ended)) {
    asio::write(socket, asio::buffer(buffer, count), ended);
  }
}

}  // namespace

void Run(const Order& order) {
  std::thread([] {
    while (std::getchar() != EOF) continue;
    std::_Exit(0);
  }).detach();
  if (order.role == "tcp") {
    EchoOverTcp();
    std::_Exit(0);
  }
  SimRings rings;
  rings.SetSpin(order.spinUs);
  if (!rings.Create("bench", order.ringBytes)) std::exit(4);
  Tell(rings.BaseName());
  if (order.role == "echo") Echo(rings, order.lateUs);
  if (order.role == "sink") Sink(rings);
  if (order.role == "source") Source(rings);
  std::exit(6);
}

}  // namespace shmempeer
