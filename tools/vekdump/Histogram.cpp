#include "vekdump/Histogram.h"

#include <algorithm>
#include <bit>

namespace VekDump {
namespace {

// Keeps the first eight bits of a number and sets the rest.
std::int64_t BucketOf(std::int64_t ns) {
  const int bits = std::bit_width(static_cast<std::uint64_t>(ns));
  return bits <= 8 ? ns : ns | ((std::int64_t{1} << (bits - 8)) - 1);
}

std::int64_t BarOf(std::int64_t ns) {
  std::int64_t bound = 1000;
  for (std::int64_t decade = bound; decade < 1'000'000'000'000'000; decade *= 10) {
    for (const int factor : {1, 2, 5}) {
      bound = decade * factor;
      if (ns <= bound) return bound;
    }
  }
  return bound;
}

}  // namespace

void Histogram::Add(std::int64_t ns) {
  ns = std::max<std::int64_t>(ns, 0);
  least_ = count_ == 0 ? ns : std::min(least_, ns);
  most_ = std::max(most_, ns);
  ++count_;
  ++buckets_[BucketOf(ns)];
  ++bars_[BarOf(ns)];
}

std::int64_t Histogram::Quantile(unsigned perMille) const {
  const std::uint64_t wanted = std::max<std::uint64_t>((count_ * perMille + 999) / 1000, 1);
  std::uint64_t seen = 0;
  for (const auto& [bound, count] : buckets_) {
    seen += count;
    if (seen >= wanted) return std::min(bound, most_);
  }
  return most_;
}

}  // namespace VekDump
