#pragma once

#include <cstdint>

namespace VekApi {

// 64-bit numbers that look random, one sequence for each seed (SplitMix64). Not for secrets.
class TRandom {
 public:
  explicit TRandom(std::uint64_t seed) : state_(seed) {}

  std::uint64_t Next() {
    std::uint64_t mixed = state_ += 0x9E3779B97F4A7C15;
    mixed = (mixed ^ mixed >> 30) * 0xBF58476D1CE4E5B9;
    mixed = (mixed ^ mixed >> 27) * 0x94D049BB133111EB;
    return mixed ^ mixed >> 31;
  }

 private:
  std::uint64_t state_;
};

}  // namespace VekApi
