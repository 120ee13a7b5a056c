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

// Roles: "echo", "sink" and "source", with the rings' name and size and the poll time; "tcp". Prints a line
// when ready, the name of the rings or for "tcp" the port, and runs until its standard input ends.
[[noreturn]] void Run(const std::string& role, const std::string& name, std::uint32_t ringBytes, int spinUs);

}  // namespace shmempeer
