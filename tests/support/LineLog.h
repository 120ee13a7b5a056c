// Events as lines, recorded by any thread and waited for by the test's.
#pragma once

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace vektest {

using Lines = std::vector<std::string>;

class LineLog {
 public:
  Lines Take() {
    const std::lock_guard lock(mutex_);
    return std::exchange(lines_, {});
  }

  // Waits until a line starting with `start` has been recorded since the last Take; false after a long time.
  bool WaitFor(const std::string& start) {
    return WaitUntil([&] {
      return std::any_of(lines_.begin(), lines_.end(),
                         [&](const std::string& line) { return line.rfind(start, 0) == 0; });
    });
  }

  // Waits until every event has returned.
  void Settle() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return inside_ == 0; });
  }

 protected:
  // `action` is the rest of the event.
  template <class TAction>
  void Note(const std::string& line, const TAction& action) {
    {
      const std::lock_guard lock(mutex_);
      ++inside_;
      lines_.push_back(line);
      changed_.notify_all();
    }
    action();
    const std::lock_guard lock(mutex_);
    --inside_;
    changed_.notify_all();
  }

  template <class TPredicate>
  bool WaitUntil(const TPredicate& predicate) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, std::chrono::seconds(60), predicate);
  }

  std::mutex mutex_;
  Lines lines_;

 private:
  std::condition_variable changed_;
  int inside_ = 0;
};

}  // namespace vektest
