// Threads, time and chance of a simulated run: one system thread plays them all, and a seed decides who
// continues at every point where a thread switch is possible.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <new>
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
inline constexpr Ns kNow = 0;

// The same numbers on every platform.
class Draw {
 public:
  explicit Draw(std::uint64_t seed) : state_(seed * 0x9E3779B97F4A7C15 + 0x1234567) { Next(); }
  // One of several independent sequences of a seed.
  Draw(std::uint64_t seed, std::uint64_t row) : Draw(Draw(seed).Next() ^ Draw(row + 0xABCDEF).Next()) {}

  std::uint64_t Next() {
    std::uint64_t z = state_ += 0x9E3779B97F4A7C15;
    z = (z ^ z >> 30) * 0xBF58476D1CE4E5B9;
    z = (z ^ z >> 27) * 0x94D049BB133111EB;
    return z ^ z >> 31;
  }
  unsigned Below(unsigned bound) { return static_cast<unsigned>((Next() >> 32) * bound >> 32); }
  unsigned From(unsigned least, unsigned most) { return least + Below(most - least + 1); }
  bool Chance(unsigned permille) { return permille != 0 && Below(1000) < permille; }
  // Small values are as likely as large ones.
  Ns Time(Ns least, Ns most);

 private:
  std::uint64_t state_;
};

struct MessageQueue;

inline constexpr std::size_t kMostTasks = 100;

// One simulated thread.
struct Task {
  Fiber fiber;
  std::function<void()> body;
  const char* name = "";
  bool ended = true;
  Ns ready = kNever;       // from when it can continue; kNow unless it waits
  Task** queue = nullptr;  // those waiting for the same object
  Task* nextQueued = nullptr;
  void* exceptions[2] = {};  // the language's exception state of a thread
  Dova::Os::TAnswerWatch* watch = nullptr;
  int answering = 0;
  std::shared_ptr<MessageQueue> messages;  // of its windows
  std::function<void()> atEnd;
  bool listens = false;  // a message ends its wait
  int locks = 0;
  bool inLibrary = false;
  const char* error = nullptr;  // of the last system call
};

class Scheduler {
 public:
  struct Chances {
    unsigned changeOver = 0;  // at a point, per thousand
    unsigned stall = 0;       // at a point, per ten thousand: the thread pauses for a while
    Ns longestStall = 0;
    unsigned noThread = 0;  // starting a thread fails, per thousand
    unsigned noMemory = 0;  // an allocation of the library fails, per hundred thousand
    Ns tick = 0;            // of the system's clock for alarms: they are late by up to that
    unsigned noPost = 0;    // a window or a place for its message is refused, per thousand
  };

  // The running scheduler; null: none, and no thread ever waits.
  static Scheduler* Current() { return current; }

  Scheduler(std::uint64_t seed, const Chances& chances);
  ~Scheduler();
  Scheduler(const Scheduler&) = delete;
  Scheduler& operator=(const Scheduler&) = delete;

  // Runs all threads until each has ended. A failure ends the process.
  void Run();

  Ns Now() const { return now_; }
  // When an alarm set for that time sounds.
  Ns TickAfter(Ns due) const {
    const Ns tick = chances_.tick;
    return tick == 0 || due > kNever - tick ? due : (due + tick - 1) / tick * tick;
  }
  Ns Stalled() const { return stalled_; }  // the total of all stalls so far
  std::uint64_t Steps() const { return steps_; }
  std::uint64_t Trace() const { return trace_; }  // a hash of who ran when
  // On a task: the names of the others.
  std::string Others() const;
  bool Alone() const { return Others().empty(); }

  Task* Start(const char* name, std::function<void()> body);
  bool StartsThread() { return !chances_.noThread || !draw_.Chance(chances_.noThread); }
  bool RefusesMemory();
  bool RefusesPost() { return chances_.noPost != 0 && draw_.Chance(chances_.noPost); }
  void NoMoreFaults() { chances_ = {}; }

  // Calls it at that time, on no thread.
  void At(Ns when, std::function<void()> what) {
    timed_.emplace(std::pair{when, sequence_++}, std::move(what));
  }

  // A waiting thread may answer messages sent to its windows.
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
  // Until interrupted, or `due`.
  void Listen(Ns due) {
    Task* nobody = nullptr;
    ListenTo(nobody, due);
  }
  // Wait that can be interrupted.
  bool ListenTo(Task*& queue, Ns due) {
    Self().listens = true;
    const bool woken = Wait(queue, due);
    Self().listens = false;
    return woken;
  }

  // From anywhere.
  static void WakeOne(Task*& queue);
  // Ends that thread's wait, if it waits.
  static void Interrupt(Task& task);
  static void WakeAll(Task*& queue) {
    while (queue) WakeOne(queue);
  }

 private:
  static inline Scheduler* current = nullptr;

  void RunTask(Task& task);
  void Give();
  unsigned FindReady();
  bool Advance();
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
  std::vector<Task*> live_;  // in the order of their starts
  std::array<Task*, kMostTasks> ready_;
  std::map<std::pair<Ns, std::uint64_t>, std::function<void()>> timed_;
};

// Where the current task is: only in the library can memory run short.
class Place {
 public:
  explicit Place(bool inLibrary) : outer_(Exchange(inLibrary)) {}
  ~Place() { Exchange(outer_); }
  Place(const Place&) = delete;
  Place& operator=(const Place&) = delete;

 private:
  static bool Exchange(bool inLibrary);
  const bool outer_;
};

struct InLibrary : Place {
  InLibrary() : Place(true) {}
};
struct OutOfLibrary : Place {
  OutOfLibrary() : Place(false) {}
};

template <class TCall>
auto Library(const TCall& call) {
  const InLibrary library;
  return call();
}

// The same for calls that may throw for lack of memory; false if it has.
template <class TCall>
bool LibraryMay(const TCall& call) {
  try {
    Library(call);
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

// Ends the process: a promise was broken. `kind` is one word.
[[noreturn]] void Fail(const char* kind, const std::string& text);

}  // namespace vektest
