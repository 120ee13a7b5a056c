// The other process of bench_shmem: the same program, started with a role.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace shmempeer {

constexpr std::size_t kMessageBytes = 4096;
constexpr std::size_t kMessages = 409'600;
constexpr std::uint64_t kStreamBytes = std::uint64_t{kMessageBytes} * kMessages;
// The sink answers one byte per this many bytes received.
constexpr std::uint64_t kCreditBytes = 512 << 10;

// What the process is told on its command line.
struct Order {
  std::string role;  // "echo", "sink" or "source" over rings; "tcp": echoes over TCP
  std::uint32_t ringBytes = 0;
  int spinUs = 0;
  int lateUs = 0;  // by so much "echo" answers late
};

// Prints a line when ready, the name of the rings or for "tcp" the port, and runs until its standard input
// ends.
[[noreturn]] void Run(const Order& order);

}  // namespace shmempeer
