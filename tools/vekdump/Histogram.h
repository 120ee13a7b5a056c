// Times, counted in buckets that are a hundredth of their time wide at the most: any number of them takes no
// more memory than a few.
#pragma once

#include <cstdint>
#include <map>

namespace VekDump {

class Histogram {
 public:
  void Add(std::int64_t ns);

  std::uint64_t Count() const { return count_; }
  std::int64_t Least() const { return least_; }
  std::int64_t Most() const { return most_; }

  // The time that so many of a thousand do not go beyond, to within a hundredth. There is one at least.
  std::int64_t Quantile(unsigned perMille) const;

  // By upper bounds of 1, 2 and 5 times the powers of ten.
  const std::map<std::int64_t, std::uint64_t>& Bars() const { return bars_; }

 private:
  std::map<std::int64_t, std::uint64_t> buckets_;  // by the largest time that belongs there
  std::map<std::int64_t, std::uint64_t> bars_;
  std::uint64_t count_ = 0;
  std::int64_t least_ = 0;
  std::int64_t most_ = 0;
};

}  // namespace VekDump
