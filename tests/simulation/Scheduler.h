// Threads, time and chance of a simulated run: one thread of the system's plays them all, and a seed says who
// goes on at every point where threads could change over.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "simulation/Fiber.h"

namespace Dova::Os {
class TAnswerWatch;
}

namespace vektest {

using Ns = std::int64_t;
inline constexpr Ns kMs = 1'000'000;
inline constexpr Ns kSecond = 1000 * kMs;
inline constexpr Ns kNever = INT64_MAX;

// The same numbers on every platform.
class Draw {
 public:
  explicit Draw(std::uint64_t seed) : state_(seed * 0x9E3779B97F4A7C15 + 0x1234567) { Next(); }
  // One of several independent rows of numbers of a seed.
  Draw(std::uint64_t seed, std::uint64_t row) : Draw(Draw(seed).Next() ^ Draw(row + 0xABCDEF).Next()) {}

  std::uint64_t Next();
  unsigned Below(unsigned bound) { return static_cast<unsigned>((Next() >> 32) * bound >> 32); }
  unsigned From(unsigned least, unsigned most) { return least + Below(most - least + 1); }
  bool Chance(unsigned permille) { return permille != 0 && Below(1000) < permille; }
  // Small ones as likely as large ones.
  Ns Time(Ns least, Ns most);

 private:
  std::uint64_t state_;
};

// One simulated thread.
struct Task {
  Fiber fiber;
  std::function<void()> body;
  const char* name = "";
  bool ended = true;
  bool blocked = false;
  bool woken = false;
  Ns due = kNever;
  Task** queue = nullptr;  // who wait for the same
  Task* nextQueued = nullptr;
  void* exceptions[2] = {};  // the language's, of a thread
  Dova::Os::TAnswerWatch* watch = nullptr;
  int answering = 0;
  int locks = 0;
  const char* error = nullptr;  // of the last call of the system
};

class Scheduler {
 public:
  struct Chances {
    unsigned changeOver = 0;  // at a point, in thousandths
    unsigned stall = 0;       // at a point, in ten-thousandths: the thread does not go on for a while
    Ns longestStall = 0;
    unsigned noThread = 0;  // no thread is to be had, in thousandths
  };

  // The one that runs; null: none, and no thread ever waits.
  static Scheduler* Current() { return current; }

  Scheduler(std::uint64_t seed, const Chances& chances);
  ~Scheduler();
  Scheduler(const Scheduler&) = delete;
  Scheduler& operator=(const Scheduler&) = delete;

  // Runs all threads until each has ended. What fails ends the process.
  void Run();

  Ns Now() const { return now_; }
  Ns Stalled() const { return stalled_; }  // all stalls so far
  std::uint64_t Steps() const { return steps_; }
  std::uint64_t Trace() const { return trace_; }  // of who ran when
  bool Alone() const;                             // on a task: no other is there

  Task* Start(const char* name, std::function<void()> body);
  bool StartsThread() { return !chances_.noThread || !draw_.Chance(chances_.noThread); }
  void NoMoreFaults() { chances_ = {}; }

  // Has it done at a moment, by no thread.
  void At(Ns when, std::function<void()> what) {
    timed_.emplace(std::pair{when, sequence_++}, std::move(what));
  }

  // A thread that waits may find itself answering what was sent to its windows.
  std::function<bool()> answersWhileWaiting;
  std::function<void()> answer;
  bool AnswersWhileWaiting() { return answersWhileWaiting && answersWhileWaiting(); }
  void Answer() { answer(); }

  // ---- on a task ----
  bool OnTask() const { return running_ != nullptr; }
  Task& Self() { return *running_; }
  void Point();
  // Until woken through the queue (true), or `due`.
  bool Wait(Task*& queue, Ns due);
  void Sleep(Ns time);

  // Any place.
  static void WakeOne(Task*& queue);
  static void WakeAll(Task*& queue) {
    while (queue) WakeOne(queue);
  }

 private:
  static inline Scheduler* current = nullptr;

  void RunTask(Task& task);
  void Give();
  bool Advance();
  bool IsReady(const Task& task) const;
  bool IsTimed() const { return !timed_.empty() && timed_.begin()->first.first <= now_; }
  bool IsAnyoneElseReady() const;

  Chances chances_;
  Draw draw_;
  Ns now_ = 1000 * kSecond;
  Ns stalled_ = 0;
  std::uint64_t steps_ = 0;
  std::uint64_t sequence_ = 0;
  std::uint64_t trace_ = 0;
  Task* running_ = nullptr;
  std::vector<Task*> live_;   // in the order of their starts
  std::vector<Task*> ready_;  // reused
  std::map<std::pair<Ns, std::uint64_t>, std::function<void()>> timed_;
};

// Ends the process: what was promised was not kept. `kind` is one word.
[[noreturn]] void Fail(const char* kind, const std::string& text);

}  // namespace vektest
