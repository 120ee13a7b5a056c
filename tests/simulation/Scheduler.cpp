#include "simulation/Scheduler.h"

#include <cxxabi.h>

#include <algorithm>
#include <array>
#include <cstring>

namespace vektest {
namespace {

constexpr Ns kMostStalls = 30 * kSecond;
constexpr std::uint64_t kMostSteps = 3'000'000;

// Reused by the next seed: a new thread is often at the address of an old one, as in real processes.
std::array<Task, kMostTasks>& Tasks() {
  static std::array<Task, kMostTasks> tasks;
  return tasks;
}

}  // namespace

// Without floating point, whose results may differ: part of a random power of two.
Ns Draw::Time(Ns least, Ns most) {
  int bits = 0;
  while ((least << bits) < most && bits < 40) ++bits;
  const Ns top = std::min(most, least << From(0, static_cast<unsigned>(bits)));
  return least + static_cast<Ns>(Next() % static_cast<std::uint64_t>(top - least + 1));
}

Scheduler::Scheduler(std::uint64_t seed, const Chances& chances) : chances_(chances), draw_(seed, 1) {
  current = this;
}

Scheduler::~Scheduler() {
  current = nullptr;
}

std::string Scheduler::Others() const {
  std::string names;
  for (const Task* const each : live_) {
    if (!each->ended && each != running_) names += std::string(" ") + each->name;
  }
  return names;
}

Task* Scheduler::Start(const char* name, std::function<void()> body) {
  auto& tasks = Tasks();
  auto task = std::find_if(tasks.begin(), tasks.end(), [](const Task& each) { return each.ended; });
  if (task == tasks.end()) Fail("thread", "there are more and more of them");
  task->name = name;
  task->body = std::move(body);
  task->ended = false;
  task->ready = kNow;
  task->locks = task->answering = 0;
  task->inLibrary = task->listens = false;
  task->watch = nullptr;
  task->fiber.Begin(
      [](void* argument) {
        auto& self = *static_cast<Task*>(argument);
        self.body();
        self.body = nullptr;
        if (self.atEnd) std::exchange(self.atEnd, nullptr)();
        self.messages.reset();
        self.error = nullptr;
        self.ended = true;
        self.fiber.Suspend();
      },
      &*task);
  live_.push_back(&*task);
  return &*task;
}

void Scheduler::Run() {
  for (;;) {
    if (live_.empty()) return;
    if (++steps_ > kMostSteps) Fail("endless", "the run comes to no end");
    const unsigned ready = FindReady();
    const bool timed = IsTimed();
    if (ready == 0 && !timed) {
      if (!Advance()) Fail("deadlock", "every thread waits, and none for a time");
      continue;
    }
    const auto which = draw_.Below(ready + timed);
    if (which < ready) {
      trace_ = (trace_ ^ which ^ static_cast<std::uint64_t>(now_)) * 0x100000001B3;
      RunTask(*ready_[which]);
    } else {
      const auto what = std::move(timed_.begin()->second);
      timed_.erase(timed_.begin());
      what();
    }
  }
}

// Returns how many there are.
unsigned Scheduler::FindReady() {
  unsigned count = 0;
  for (Task* const task : live_) {
    if (task->ready <= now_) ready_[count++] = task;
  }
  return count;
}

bool Scheduler::Advance() {
  Ns next = timed_.empty() ? kNever : timed_.begin()->first.first;
  for (const Task* task : live_) next = std::min(next, task->ready);
  if (next == kNever) return false;
  now_ = std::max(now_, next);
  return true;
}

void Scheduler::RunTask(Task& task) {
  void* const exceptions = abi::__cxa_get_globals();
  void* outer[2];
  std::memcpy(outer, exceptions, sizeof outer);
  std::memcpy(exceptions, task.exceptions, sizeof outer);
  running_ = &task;
  task.fiber.Resume();
  running_ = nullptr;
  if (task.ended) std::erase(live_, &task);
  std::memcpy(task.exceptions, exceptions, sizeof outer);
  std::memcpy(exceptions, outer, sizeof outer);
}

bool Scheduler::RefusesMemory() {
  return running_ && running_->inLibrary && chances_.noMemory != 0 &&
         draw_.Below(100'000) < chances_.noMemory;
}

bool Place::Exchange(bool inLibrary) {
  Scheduler* const scheduler = Scheduler::Current();
  return scheduler && scheduler->OnTask() && std::exchange(scheduler->Self().inLibrary, inLibrary);
}

void Scheduler::Give() {
  running_->fiber.Suspend();
}

bool Scheduler::IsAnyoneElseReady() const {
  return IsTimed() || std::any_of(live_.begin(), live_.end(), [this](const Task* task) {
           return task != running_ && task->ready <= now_;
         });
}

void Scheduler::Point() {
  if (!running_) return;
  if (stalled_ < kMostStalls && chances_.stall && draw_.Below(10'000) < chances_.stall) {
    const Ns time = draw_.Time(kMs / 10, chances_.longestStall);
    stalled_ += time;
    Sleep(time);
  } else if (draw_.Chance(chances_.changeOver) && IsAnyoneElseReady()) {
    Give();
  }
}

bool Scheduler::Wait(Task*& queue, Ns due) {
  Task& self = *running_;
  Task** last = &queue;
  while (*last) last = &(*last)->nextQueued;
  *last = &self;
  self.queue = &queue;
  self.nextQueued = nullptr;
  self.ready = due;
  Give();
  if (std::exchange(self.ready, kNow) == kNow) return true;
  Task** at = &queue;
  while (*at != &self) at = &(*at)->nextQueued;
  *at = self.nextQueued;
  return false;
}

void Scheduler::Sleep(Ns time) {
  Task* nobody = nullptr;
  Wait(nobody, now_ + time);
}

void Scheduler::Interrupt(Task& task) {
  if (task.ready == kNow) return;
  Task** at = task.queue;
  while (*at != &task) at = &(*at)->nextQueued;
  *at = task.nextQueued;
  task.ready = kNow;
}

void Scheduler::WakeOne(Task*& queue) {
  if (!queue) return;
  Task& task = *queue;
  queue = task.nextQueued;
  task.ready = kNow;
}

}  // namespace vektest
