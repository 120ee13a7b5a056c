// What a benchmark measures, one JSON line for each way of doing one work, in the file that VEKAPI_BENCH_ROWS
// names (standard output without it). The ways of a work take turns in short slices, so that load of the
// machine meets all of them; scripts/bench.py compares their least disturbed slices.
#pragma once

#include <time.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#if __has_include(<sys/resource.h>)
#include <sys/resource.h>
#endif

namespace rows {

using Clock = std::chrono::steady_clock;

// How often threads of this process went to sleep. A call that wakes its receiver costs several times one
// that finds it awake, so slices are compared only in the same state.
inline double Sleeps() {
#if __has_include(<sys/resource.h>)
  rusage used{};
  getrusage(RUSAGE_SELF, &used);
  return static_cast<double>(used.ru_nvcsw);
#else
  return 0;
#endif
}

// The number of slices to measure: `usual`, or fewer or more as VEKAPI_BENCH_PERCENT says.
inline int Slices(int usual) {
  const char* const percent = std::getenv("VEKAPI_BENCH_PERCENT");
  return std::max(3, percent ? usual * std::atoi(percent) / 100 : usual);
}

// Of this thread: what is done by one thread alone is measured so, and load of the machine adds only what it
// throws out of the caches.
inline double ThreadNs() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return 1e9 * static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec);
}

// Whether VEKAPI_BENCH_ONLY, names between bars, has this work or is not set.
inline bool Wanted(const std::string& work) {
  const char* const only = std::getenv("VEKAPI_BENCH_ONLY");
  return !only || std::string(only).find("|" + work + "|") != std::string::npos;
}

class Series {
 public:
  Series(std::string work, std::string who, std::string unit)
      : work_(std::move(work)), who_(std::move(who)), unit_(std::move(unit)) {}

  // So that recording allocates nothing.
  void Reserve(std::size_t slices, std::size_t calls) { slices_.reserve(slices), calls_.reserve(calls); }
  void Begin() { sleeps_ = Sleeps(), first_ = calls_.size(); }
  // The latency of one call, for the distribution.
  void Call(double cost) { calls_.push_back(cost); }
  // A slice in that state, of calls that cost so much each.
  void EndIn(double state, double cost) { slices_.emplace_back(cost, state); }
  // A slice of `count` calls that cost so much each; its state is how often they made a thread sleep.
  void End(double cost, std::size_t count) { EndIn((Sleeps() - sleeps_) / static_cast<double>(count), cost); }
  // A slice of the calls since Begin: their median, which no interruption by other programs shifts.
  void End() {
    std::vector<double> slice(calls_.begin() + static_cast<std::ptrdiff_t>(first_), calls_.end());
    if (slice.empty()) return;
    const auto middle = slice.begin() + static_cast<std::ptrdiff_t>(slice.size() / 2);
    std::nth_element(slice.begin(), middle, slice.end());
    End(*middle, slice.size());
  }
  void Write() {
    const char* const path = std::getenv("VEKAPI_BENCH_ROWS");
    std::FILE* const file = path ? std::fopen(path, "a") : stdout;
    if (!file) return std::perror(path);
    std::fprintf(file, R"({"work":"%s","who":"%s","unit":"%s","slices":[)", work_.c_str(), who_.c_str(),
                 unit_.c_str());
    const char* comma = "";
    for (const auto& slice : slices_) {
      std::fprintf(file, "%s[%.5g,%.3g]", std::exchange(comma, ","), slice.first, slice.second);
    }
    WriteCalls(file);
    std::fputs("}\n", file);
    if (path) std::fclose(file);
  }

 private:
  // The values at 0 to 99 %, 99.9 % and 100 %.
  void WriteCalls(std::FILE* file) {
    if (calls_.empty()) return void(std::fputs("]", file));
    std::sort(calls_.begin(), calls_.end());
    const auto at = [&](double part) {
      return calls_[static_cast<std::size_t>(part * static_cast<double>(calls_.size() - 1))];
    };
    std::fprintf(file, R"(],"calls":%zu,"quantiles":[)", calls_.size());
    for (int i = 0; i < 100; ++i) std::fprintf(file, "[%d,%.5g],", i, at(i / 100.0));
    std::fprintf(file, "[99.9,%.5g],[100,%.5g]]", at(0.999), at(1));
  }

  const std::string work_, who_, unit_;
  std::vector<std::pair<double, double>> slices_;
  std::vector<double> calls_;
  double sleeps_ = 0;
  std::size_t first_ = 0;
};

// One way of doing a work: `slice` measures one slice.
struct Way {
  std::string who;
  std::function<void(Series&)> slice;
};

// Measures the ways by turns, each round beginning with another one, and writes their lines.
inline void ByTurns(const std::string& work, const std::string& unit, int slices,
                    const std::vector<Way>& ways) {
  if (!Wanted(work)) return;
  const auto rounds = static_cast<std::size_t>(Slices(slices));
  std::vector<Series> all;
  for (const Way& way : ways) {
    all.emplace_back(work, way.who, unit);
    all.back().Reserve(rounds, 0);
  }
  for (std::size_t round = 0; round < rounds; ++round) {
    for (std::size_t i = 0; i < ways.size(); ++i) {
      const std::size_t turn = (round + i) % ways.size();
      all[turn].Begin();
      ways[turn].slice(all[turn]);
    }
  }
  for (Series& series : all) series.Write();
}

// A way that does `act` `count` times a slice, in this thread's nanoseconds each.
template <class TAct>
Way Repeated(std::string who, int count, TAct act) {
  return {std::move(who), [count, act](Series& series) {
            const double start = ThreadNs();
            for (int i = 0; i < count; ++i) act();
            series.End((ThreadNs() - start) / count, static_cast<std::size_t>(count));
          }};
}

// A figure that is counted, not measured.
inline void Counted(const std::string& work, const std::string& who, const std::string& unit, double figure) {
  if (!std::isfinite(figure)) return;  // of what was not wanted
  Series series(work, who, unit);
  series.EndIn(0, figure);
  series.Write();
}

}  // namespace rows
