// All events of a family share one word of shared memory: per event one bit for "set" and one for "a thread
// sleeps on it". So one thread can sleep on two events with the plain futex call available in every kernel,
// and a Set without a sleeper needs no system call.
//
// Any process can write the word, so its value only decides when a wait ends.
#include "platform/os/NamedEvent.h"

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <string_view>

#include "platform/os/Clock.h"
#include "platform/os/posix/Futex.h"
#include "platform/os/posix/SharedObject.h"

namespace Dova::Os {
namespace {

using TWord = std::atomic_ref<std::uint32_t>;
static_assert(TWord::is_always_lock_free);

constexpr std::uint64_t kFamilyBytes = 64;
constexpr unsigned kSleeperShift = 8;

bool CutEnd(std::string_view& name, std::string_view end) {
  if (name.size() < end.size() || name.substr(name.size() - end.size()) != end) return false;
  name.remove_suffix(end.size());
  return true;
}

// Removes the suffix, leaving the family's name in `name`.
unsigned CutBit(std::string_view& name) {
  const unsigned which = CutEnd(name, ".WEv") ? 1 : 0;
  if (which == 0) CutEnd(name, ".REv");
  const unsigned ring = CutEnd(name, ".S2C") ? 2 : 0;
  if (ring == 0) CutEnd(name, ".C2S");
  return 1u << (which + ring);
}

// The first event of a family creates the word, the others open it.
int OpenWord(TSharedObject& object, const std::string& name, EOpen how) {
  int error = how == EOpen::Make ? object.Make(name, kFamilyBytes) : object.Join(name);
  const bool made = how == EOpen::Make && error == 0;
  if (error == EEXIST) error = object.Join(name);
  if (error == 0) error = object.Map(kFamilyBytes);
  if (error == 0 && !made) object.HideName();
  return error;
}

}  // namespace

struct TNamedEvent::TNative {
  TSharedObject object;
  std::string family;
  std::uint32_t bit = 0;

  std::uint32_t* Word() const noexcept { return static_cast<std::uint32_t*>(object.View()); }

  // Returns true if a thread was sleeping on the event; the caller must then call WakeSleepers.
  bool Raise() const noexcept {
    const TWord word(*Word());
    const std::uint32_t sleeper = bit << kSleeperShift;
    std::uint32_t seen = word.load();
    while (!word.compare_exchange_weak(seen, (seen | bit) & ~sleeper)) continue;
    return (seen & sleeper) != 0;
  }
};

TNamedEvent::TNamedEvent() = default;
TNamedEvent::~TNamedEvent() = default;
TNamedEvent::TNamedEvent(TNamedEvent&& other) noexcept = default;
TNamedEvent& TNamedEvent::operator=(TNamedEvent&& other) noexcept = default;

bool TNamedEvent::Open(const std::string& name, EOpen how) {
  Close();
  auto native = std::make_unique<TNative>();
  std::string_view family = name;
  native->bit = CutBit(family);
  native->family = family;
  error_ = OpenWord(native->object, native->family + ".ev", how);
  if (error_ == 0) native_ = std::move(native);
  return error_ == 0;
}

void TNamedEvent::HideName() noexcept {
  if (native_) native_->object.HideName();
}

void TNamedEvent::Close() noexcept {
  native_.reset();
}

void TNamedEvent::Set() noexcept {
  if (native_ && native_->Raise()) WakeSleepers(native_->Word(), native_->bit, fut_Machine);
}

struct TNamedEventWait::TNative {
  std::atomic<bool> stopped{false};
};

TNamedEventWait::TNamedEventWait() : native_(std::make_unique<TNative>()) {}
TNamedEventWait::~TNamedEventWait() = default;

TNamedEventWait::operator bool() const noexcept {
  return true;
}

unsigned TNamedEventWait::Wait(TNamedEvent& first, TNamedEvent& second, int timeoutMs,
                               bool lazySecond) noexcept {
  if (!first.native_ || !second.native_ || first.native_->family != second.native_->family) return kCannot;
  std::uint32_t* const address = first.native_->Word();
  const TWord word(*address);
  const std::uint32_t bits = first.native_->bit | second.native_->bit;
  const std::int64_t due = timeoutMs < 0 ? INT64_MAX : MonotonicNs() + std::int64_t{timeoutMs} * 1'000'000;
  for (std::uint32_t seen = word.load();; seen = word.load()) {
    if (native_->stopped.load()) return kStopped;
    if ((seen & bits) != 0) {
      const std::uint32_t set = word.fetch_and(~(bits | bits << kSleeperShift)) & bits;
      return ((set & first.native_->bit) != 0 ? kFirst : 0) |
             ((set & second.native_->bit) != 0 ? kSecond : 0);
    }
    if (timeoutMs >= 0 && (timeoutMs == 0 || MonotonicNs() >= due)) return 0;
    const std::uint32_t wakers = lazySecond ? first.native_->bit : bits;
    const std::uint32_t asleep = seen | wakers << kSleeperShift;
    if (asleep == seen || word.compare_exchange_strong(seen, asleep))
      SleepOn(address, asleep, bits, due, fut_Machine);
  }
}

// Setting the bit changes the word, so a waiter about to sleep stays awake. A waiter already asleep may not
// have registered for this event, so it is woken in any case.
void TNamedEventWait::Nudge(TNamedEvent& second) noexcept {
  if (!second.native_) return;
  second.native_->Raise();
  WakeSleepers(second.native_->Word(), second.native_->bit, fut_Machine);
}

void TNamedEventWait::Stop(TNamedEvent& first, TNamedEvent& second) noexcept {
  native_->stopped.store(true);
  for (const TNamedEvent* event : {&first, &second}) {
    if (!event->native_) continue;
    event->native_->Raise();
    WakeSleepers(event->native_->Word(), event->native_->bit, fut_Machine);
  }
}

}  // namespace Dova::Os
