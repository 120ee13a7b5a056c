#include "support/Memory.h"

#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <fstream>

namespace TestSupport {
namespace {

constexpr std::size_t kPiece = 1 << 20;
constexpr std::size_t kSparse = std::size_t{1} << 32;  // mapped by the sanitizers

char copy[kPiece];

}  // namespace

void LookAtMemory(std::size_t overlap, const TLook& look) {
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);) {
    std::uintptr_t at = 0, end = 0;
    char rights[5] = {};
    if (std::sscanf(line.c_str(), "%lx-%lx %4s", &at, &end, rights) != 3) continue;
    if (rights[1] != 'w' || end - at >= kSparse) continue;
    const auto mine = reinterpret_cast<std::uintptr_t>(copy);
    for (; at + overlap < end; at += kPiece - overlap) {
      if (at < mine + kPiece && mine < at + kPiece) continue;
      const iovec from{reinterpret_cast<void*>(at), std::min(kPiece, end - at)};
      const iovec to{copy, kPiece};
      const ssize_t count = process_vm_readv(getpid(), &to, 1, &from, 1, 0);
      if (count > 0) look({copy, static_cast<std::size_t>(count)});
    }
  }
}

}  // namespace TestSupport
