#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>

namespace VekApi {

// A histogram of answer times: eight counts per octave, starting at one microsecond.
class TRoundTrips {
 public:
  static constexpr unsigned kCounts = 8 * 26;  // covers up to a minute

  void Add(std::int64_t ns) { ++counts_[IndexOf(ns)]; }
  std::uint64_t At(unsigned index) const { return counts_[index]; }

 private:
  static unsigned IndexOf(std::int64_t ns) {
    const auto us = static_cast<std::uint64_t>(std::max<std::int64_t>(ns, 0)) / 1000;
    if (us == 0) return 0;
    const auto octave = static_cast<unsigned>(std::bit_width(us)) - 1;
    // 2^(1/8) to 2^(7/8), in 65536ths.
    constexpr std::uint32_t kSteps[] = {71468, 77936, 84990, 92682, 101070, 110218, 120194};
    const auto part = (static_cast<std::uint64_t>(ns) << 16) / (std::uint64_t{1000} << octave);
    unsigned step = 0;
    while (step < 7 && part >= kSteps[step]) ++step;
    const unsigned index = 8 * octave + step;
    return index < kCounts ? index : kCounts - 1;
  }

  std::array<std::uint64_t, kCounts> counts_{};
};

}  // namespace VekApi
