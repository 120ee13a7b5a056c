// Counts of packets and bytes per code, and round trips as histograms.
#pragma once

#include <ostream>
#include <tuple>

#include "vekdump/Histogram.h"
#include "vekdump/RoundTrips.h"

namespace VekDump {

class Stats : public Output {
 public:
  // Written at the end of the input.
  explicit Stats(std::ostream& out) : out_(out) {}
  void Show(const Item& item) override;
  void End() override;

 private:
  struct Count {
    std::uint64_t packets = 0;
    std::uint64_t bytes = 0;
  };

  void WriteCounts();
  void WriteTimes();
  void WriteBars(const std::string& name, const Histogram& histogram);

  std::ostream& out_;
  std::map<std::tuple<int, Side, std::string>, Count> counts_;
  RoundTrips roundTrips_;
  std::map<std::string, Histogram> times_;
};

}  // namespace VekDump
