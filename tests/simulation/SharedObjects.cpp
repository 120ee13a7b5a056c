// The library's named mappings and events, played by the scheduler.
#include "simulation/SharedObjects.h"

#include <algorithm>
#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "platform/os/Mutex.h"
#include "platform/os/NamedEvent.h"
#include "platform/os/NamedMapping.h"
#include "simulation/Scheduler.h"

namespace vektest {

constexpr int kMissing = 2, kInvalid = 22, kExists = 17, kNoHandles = 24;
constexpr std::size_t kGuard = 64;  // on both sides of a mapping
constexpr std::byte kGuardByte{0xA5};

struct SharedObject;

struct SharedSystem {
  Draw draw{0};
  unsigned refused = 0;
  bool eager = false;
  std::map<std::string, std::weak_ptr<SharedObject>> names;
};
static SharedSystem sharedSystem;

struct SharedObject {
  SharedObject(std::string which, std::size_t size)
      : name(std::move(which)), memory(size + 2 * kGuard), bytes(size) {
    std::fill_n(memory.begin(), kGuard, kGuardByte);
    std::fill_n(memory.end() - kGuard, kGuard, kGuardByte);
  }
  ~SharedObject() {
    sharedSystem.names.erase(name);
    const auto whole = [](std::byte each) { return each == kGuardByte; };
    if (!std::all_of(memory.begin(), memory.begin() + kGuard, whole) ||
        !std::all_of(memory.end() - kGuard, memory.end(), whole))
      Fail("memory", "bytes beside the mapping " + name + " were written");
  }
  SharedObject(const SharedObject&) = delete;
  SharedObject& operator=(const SharedObject&) = delete;

  const std::string name;
  std::vector<std::byte> memory;
  const std::size_t bytes;
  // Of an event:
  bool set = false;
  Task** waiting = nullptr;
  std::function<void()> onSet{};
};
using SharedRef = std::shared_ptr<SharedObject>;

// Not for gateways, which run on no thread.
static bool IsRefused() {
  return Scheduler::Current()->OnTask() && sharedSystem.draw.Chance(sharedSystem.refused);
}

static int OpenShared(SharedRef& object, const std::string& name, std::size_t bytes, Dova::Os::EOpen how) {
  const OutOfLibrary system;
  const bool makes = how == Dova::Os::EOpen::Make;
  const auto found = sharedSystem.names.find(name);
  if (IsRefused()) return kNoHandles;
  if (makes == (found != sharedSystem.names.end())) return makes ? kExists : kMissing;
  object = makes ? std::make_shared<SharedObject>(name, bytes) : found->second.lock();
  if (makes) sharedSystem.names[name] = object;
  return 0;
}

static void SharedPoint() {
  if (Scheduler* const scheduler = Scheduler::Current()) scheduler->Point();
}

void BeginSharedObjects(std::uint64_t seed, unsigned refused, bool eager) {
  sharedSystem.draw = Draw(seed, 6);
  sharedSystem.refused = refused;
  sharedSystem.eager = eager;
}

void WatchSharedEvent(const std::string& name, std::function<void()> onSet) {
  sharedSystem.names.at(name).lock()->onSet = std::move(onSet);
}

}  // namespace vektest

namespace Dova::Os {

using vektest::Scheduler;

std::string OwnName(const std::string& name) {
  return name;
}

// ---- mappings ----

struct TNamedMapping::TNative {
  vektest::SharedRef object;
  std::size_t mapped = 0;
};

TNamedMapping::TNamedMapping() = default;
TNamedMapping::~TNamedMapping() = default;
TNamedMapping::TNamedMapping(TNamedMapping&& other) noexcept = default;
TNamedMapping& TNamedMapping::operator=(TNamedMapping&& other) noexcept = default;

bool TNamedMapping::Open(const std::string& name, std::uint64_t bytes, EOpen how) {
  Close();
  auto native = std::make_unique<TNative>();
  error_ = vektest::OpenShared(native->object, name, static_cast<std::size_t>(bytes), how);
  if (error_ == 0) native_ = std::move(native);
  return error_ == 0;
}

bool TNamedMapping::MapView(std::uint64_t bytes) {
  const std::size_t size = native_->object->bytes;
  error_ = bytes > size ? vektest::kInvalid : vektest::IsRefused() ? vektest::kNoHandles : 0;
  native_->mapped = error_ != 0 ? 0 : bytes != 0 ? static_cast<std::size_t>(bytes) : size;
  return error_ == 0;
}

void TNamedMapping::HideName() noexcept {}

void TNamedMapping::Close() noexcept {
  const vektest::OutOfLibrary system;
  native_.reset();
}

std::byte* TNamedMapping::View() const noexcept {
  return native_ && native_->mapped ? native_->object->memory.data() + vektest::kGuard : nullptr;
}

std::uint64_t TNamedMapping::Size() const noexcept {
  return native_ ? native_->mapped : 0;
}

bool TNamedMapping::IsMissing() const noexcept {
  return error_ == vektest::kMissing;
}

TError TNamedMapping::BadSizeError() noexcept {
  return {nullptr, vektest::kInvalid};
}

// ---- events ----

struct TNamedEvent::TNative {
  vektest::SharedRef object;
};

TNamedEvent::TNamedEvent() = default;
TNamedEvent::~TNamedEvent() = default;
TNamedEvent::TNamedEvent(TNamedEvent&& other) noexcept = default;
TNamedEvent& TNamedEvent::operator=(TNamedEvent&& other) noexcept = default;

bool TNamedEvent::Open(const std::string& name, EOpen how) {
  Close();
  auto native = std::make_unique<TNative>();
  error_ = vektest::OpenShared(native->object, name, 0, how);
  if (error_ == 0) native_ = std::move(native);
  return error_ == 0;
}

void TNamedEvent::HideName() noexcept {}

void TNamedEvent::Close() noexcept {
  if (native_ && native_->object->waiting) vektest::Fail("late", "an event is closed while a thread waits");
  native_.reset();
}

void TNamedEvent::Set() noexcept {
  vektest::SharedPoint();  // the index was published before
  if (!native_) return;
  const vektest::OutOfLibrary system;
  vektest::SharedObject& event = *native_->object;
  event.set = true;
  if (event.waiting) Scheduler::WakeAll(*event.waiting);
  if (event.onSet) event.onSet();
  vektest::SharedPoint();
}

struct TNamedEventWait::TNative {
  vektest::Task* waiting = nullptr;
  bool refused = vektest::IsRefused();
  bool stopped = false;
  bool nudged = false;
};

TNamedEventWait::TNamedEventWait() : native_(std::make_unique<TNative>()) {}
TNamedEventWait::~TNamedEventWait() = default;

TNamedEventWait::operator bool() const noexcept {
  return !native_->refused;
}

unsigned TNamedEventWait::Wait(TNamedEvent& first, TNamedEvent& second, int timeoutMs,
                               bool lazySecond) noexcept {
  if (!first.native_ || !second.native_) return kCannot;
  AssertNoLockHeld("TNamedEventWait::Wait");
  vektest::SharedObject &one = *first.native_->object, &two = *second.native_->object;
  Scheduler& scheduler = *Scheduler::Current();
  scheduler.Point();
  const vektest::Ns due = timeoutMs < 0 ? vektest::kNever : scheduler.Now() + timeoutMs * vektest::kMs;
  bool ends = vektest::sharedSystem.eager && two.set;
  for (;;) {
    if (native_->stopped) return kStopped;
    ends = ends || one.set || native_->nudged || (!lazySecond && two.set);
    if (ends) break;
    if (scheduler.Now() >= due) return 0;
    one.waiting = &native_->waiting;
    two.waiting = lazySecond ? nullptr : &native_->waiting;
    scheduler.Wait(native_->waiting, due);
    one.waiting = two.waiting = nullptr;
  }
  const bool reportsSecond = std::exchange(two.set, false) || native_->nudged;
  native_->nudged = false;
  return (std::exchange(one.set, false) ? kFirst : 0) | (reportsSecond ? kSecond : 0);
}

void TNamedEventWait::Nudge(TNamedEvent& /*second*/) noexcept {
  native_->nudged = true;
  Scheduler::WakeAll(native_->waiting);
  vektest::SharedPoint();
}

void TNamedEventWait::Stop(TNamedEvent& /*first*/, TNamedEvent& /*second*/) noexcept {
  native_->stopped = true;
  Scheduler::WakeAll(native_->waiting);
  vektest::SharedPoint();
}

}  // namespace Dova::Os
