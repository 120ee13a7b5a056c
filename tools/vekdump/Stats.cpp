#include "vekdump/Stats.h"

#include <fmt/core.h>

#include <algorithm>
#include <vector>

#include "TextGrid.h"
#include "vekdump/Text.h"

namespace VekDump {

void Stats::Show(const Item& item) {
  if (item.kind == Kind::Packet) {
    Count& count = counts_[{item.code, item.from, item.name}];
    ++count.packets;
    count.bytes += item.wireBytes;
  }
  roundTrips_.Add(item, [this](const Answered& answered) { times_[answered.name].Add(answered.tookNs); });
}

void Stats::End() {
  WriteCounts();
  WriteTimes();
}

void Stats::WriteCounts() {
  std::vector<std::vector<std::string>> grid{{"code", "from", "packet", "packets", "bytes"}};
  for (const auto& [key, count] : counts_) {
    const auto& [code, from, name] = key;
    grid.push_back({std::to_string(code), from == Side::Client ? "client" : "server", name,
                    std::to_string(count.packets), std::to_string(count.bytes)});
  }
  out_ << '\n' << FormatGrid(grid);
}

void Stats::WriteTimes() {
  if (times_.empty()) return;
  std::vector<std::vector<std::string>> grid{
      {"round trip", "answered", "min", "median", "p90", "p99", "max"}};
  for (const auto& [name, times] : times_) {
    grid.push_back({name, std::to_string(times.Count()), Duration(times.Least()),
                    Duration(times.Quantile(500)), Duration(times.Quantile(900)),
                    Duration(times.Quantile(990)), Duration(times.Most())});
  }
  out_ << '\n' << FormatGrid(grid);
  for (const auto& [name, times] : times_) WriteBars(name, times);
}

void Stats::WriteBars(const std::string& name, const Histogram& histogram) {
  constexpr std::uint64_t kWidth = 50;
  const auto bars = histogram.Bars();
  std::uint64_t most = 0;
  for (const auto& [bound, count] : bars) most = std::max(most, count);
  out_ << fmt::format("\n{}\n", name);
  for (const auto& [bound, count] : bars) {
    const auto width = std::max<std::uint64_t>(count * kWidth / most, 1);
    out_ << fmt::format("  up to {:>12}  {:>9}  {}\n", Duration(bound), count, std::string(width, '#'));
  }
}

}  // namespace VekDump
