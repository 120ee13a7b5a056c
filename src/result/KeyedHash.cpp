#include "result/KeyedHash.h"

#include <bit>
#include <cstring>
#include <random>

namespace VekApi {
namespace {

struct TKey {
  std::uint64_t first = Draw();
  std::uint64_t second = Draw();

  // If the system has no random numbers, the address of an object is used.
  static std::uint64_t Draw() {
    try {
      std::random_device device;
      return std::uint64_t{device()} << 32 | device();
    } catch (...) {
      const int here = 0;
      return reinterpret_cast<std::uintptr_t>(&here) * 0x9E3779B97F4A7C15u;
    }
  }
};

struct TState {
  std::uint64_t a, b, c, d;

  void Round() {
    a += b;
    c += d;
    b = std::rotl(b, 13) ^ a;
    d = std::rotl(d, 16) ^ c;
    a = std::rotl(a, 32) + d;
    c += b;
    d = std::rotl(d, 21) ^ a;
    b = std::rotl(b, 17) ^ c;
    c = std::rotl(c, 32);
  }

  void Take(std::uint64_t word) {
    d ^= word;
    Round();
    a ^= word;
  }
};

}  // namespace

std::uint64_t KeyedHash(std::string_view name, TWork& work) {
  static const TKey key;
  TState state{key.first ^ 0x736f6d6570736575u, key.second ^ 0x646f72616e646f6du,
               key.first ^ 0x6c7967656e657261u, key.second ^ 0x7465646279746573u};
  const std::uint64_t length = static_cast<std::uint64_t>(name.size()) << 56;
  std::uint64_t word = 0;
  for (; name.size() >= sizeof word; name.remove_prefix(sizeof word)) {
    std::memcpy(&word, name.data(), sizeof word);
    state.Take(word);
    if (work.Spend(sizeof word)) return 0;
  }
  word = length;
  for (std::size_t i = 0; i < name.size(); ++i)
    word |= static_cast<std::uint64_t>(static_cast<unsigned char>(name[i])) << (8 * i);
  state.Take(word);
  state.c ^= 0xFF;
  for (int i = 0; i < 3; ++i) state.Round();
  return state.a ^ state.b ^ state.c ^ state.d;
}

}  // namespace VekApi
