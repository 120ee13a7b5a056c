// Times, counted in buckets at most a hundredth of their time wide: memory does not grow with the number of
// times.
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

  // The time not exceeded by so many of a thousand, to within a hundredth. At least one time must have been
  // added.
  std::int64_t Quantile(unsigned perMille) const;

  // With upper bounds of 1, 2 and 5 times the powers of ten.
  const std::map<std::int64_t, std::uint64_t>& Bars() const { return bars_; }

 private:
  std::map<std::int64_t, std::uint64_t> buckets_;  // by the largest time in the bucket
  std::map<std::int64_t, std::uint64_t> bars_;
  std::uint64_t count_ = 0;
  std::int64_t least_ = 0;
  std::int64_t most_ = 0;
};

}  // namespace VekDump
