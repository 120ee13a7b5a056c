#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <optional>

namespace VekSim {

/// Actions scheduled by time, in order. It has no clock of its own. For one thread.
class SimTimetable {
 public:
  using Time = std::chrono::microseconds;

  void Add(Time due, std::function<void()> what) { entries_.emplace(due, std::move(what)); }
  std::optional<Time> Next() const {
    return entries_.empty() ? std::nullopt : std::optional(entries_.begin()->first);
  }
  /// Removes the next entry if it is due at `now`; empty if none is.
  std::function<void()> Take(Time now) {
    if (entries_.empty() || entries_.begin()->first > now) return {};
    auto what = std::move(entries_.begin()->second);
    entries_.erase(entries_.begin());
    return what;
  }
  void Clear() { entries_.clear(); }

 private:
  std::multimap<Time, std::function<void()>> entries_;
};

}  // namespace VekSim
