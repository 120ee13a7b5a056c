#include "sim/SimRings.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <thread>
#include <utility>

namespace VekSim {

namespace {

using Dova::Os::EOpen;
using Dova::Os::TNamedEventWait;

constexpr std::uint32_t kHead = 64;
constexpr std::size_t kBulk = 4096;
constexpr std::size_t kCapacityAt = 0, kReadAt = 4, kWriteAt = 8;

std::atomic_ref<std::uint32_t> Field(std::byte* memory, std::size_t offset) {
  return std::atomic_ref<std::uint32_t>(*reinterpret_cast<std::uint32_t*>(memory + offset));
}

/// Number of bytes from `from` to `to` around the ring.
std::uint32_t Distance(std::uint32_t from, std::uint32_t to, std::uint32_t capacity) {
  return static_cast<std::uint32_t>((std::uint64_t{to} + capacity - from) % capacity);
}

}  // namespace

bool SimRings::Create(const std::string& baseName, std::uint32_t bytes) {
  Close();
  if (MakeBoth(Dova::Os::OwnName(baseName), bytes)) return true;
  constexpr char kGlobal[] = "Global\\";
  if (baseName.rfind(kGlobal, 0) != 0) return false;
  // Creating names for all sessions of a machine needs a privilege.
  return MakeBoth(Dova::Os::OwnName(baseName.substr(sizeof kGlobal - 1)), bytes);
}

bool SimRings::MakeBoth(const std::string& baseName, std::uint32_t bytes) {
  error_ = Make(fromClient_, baseName + ".C2S", bytes);
  if (error_ == 0) error_ = Make(toClient_, baseName + ".S2C", bytes);
  if (error_ != 0) {
    Close();
    return false;
  }
  baseName_ = baseName;
  return true;
}

int SimRings::Make(Ring& ring, const std::string& name, std::uint32_t bytes) {
  const std::uint64_t whole = std::uint64_t{bytes} + 1 + kHead;
  if (!ring.mapping.Open(name, whole, EOpen::Make) || !ring.mapping.MapView(whole)) {
    return ring.mapping.Error().code;
  }
  if (!ring.readable.Open(name + ".REv", EOpen::Make)) return ring.readable.Error().code;
  if (!ring.writable.Open(name + ".WEv", EOpen::Make)) return ring.writable.Error().code;
  std::memset(ring.mapping.View(), 0, static_cast<std::size_t>(whole));
  ring.capacity = bytes + 1;
  ring.at = 0;
  Field(ring.mapping.View(), kCapacityAt).store(ring.capacity);
  return 0;
}

void SimRings::Close() {
  for (Ring* ring : {&fromClient_, &toClient_}) {
    ring->mapping.Close();
    ring->readable.Close();
    ring->writable.Close();
  }
  baseName_.clear();
  joined_ = false;
  told_ = 0;
}

/// The client has joined; no other process may.
void SimRings::HideNames() {
  joined_ = true;
  for (Ring* ring : {&fromClient_, &toClient_}) {
    ring->mapping.HideName();
    ring->readable.HideName();
    ring->writable.HideName();
  }
}

void SimRings::WakeClient() {
  toClient_.readable.Set();
  fromClient_.writable.Set();
}

int SimRings::Read(char* buffer, std::size_t size) {
  Ring& ring = fromClient_;
  std::byte* const memory = ring.mapping.View();
  if (!memory) return kBroken;
  const std::uint32_t end = Field(memory, kWriteAt).load();
  if (end >= ring.capacity) return kBroken;
  const auto count =
      static_cast<std::uint32_t>(std::min<std::size_t>(Distance(ring.at, end, ring.capacity), size));
  for (std::uint32_t done = 0; done < count;) {
    const std::uint32_t piece = std::min(count - done, ring.capacity - ring.at);
    std::memcpy(buffer + done, memory + kHead + ring.at, piece);
    done += piece;
    ring.at = (ring.at + piece) % ring.capacity;
  }
  if (count == 0) return 0;
  if (!joined_) HideNames();
  Field(memory, kReadAt).store(ring.at);
  ring.writable.Set();
  moved_ += count;
  return static_cast<int>(count);
}

int SimRings::Write(const char* bytes, std::size_t length) {
  Ring& ring = toClient_;
  std::byte* const memory = ring.mapping.View();
  if (!memory) return kBroken;
  const std::uint32_t begin = Field(memory, kReadAt).load();
  if (begin >= ring.capacity) return kBroken;
  const std::uint32_t room = ring.capacity - 1 - Distance(begin, ring.at, ring.capacity);
  const auto count = static_cast<std::uint32_t>(std::min<std::size_t>(room, length));
  for (std::uint32_t done = 0; done < count;) {
    const std::uint32_t piece = std::min(count - done, ring.capacity - ring.at);
    std::memcpy(memory + kHead + ring.at, bytes + done, piece);
    done += piece;
    ring.at = (ring.at + piece) % ring.capacity;
  }
  if (count == 0) return 0;
  Field(memory, kWriteAt).store(ring.at);
  ring.readable.Set();
  moved_ += count;
  return static_cast<int>(count);
}

/// Compared with what was reported last: another thread may be reading.
bool SimRings::HasNewData() {
  const std::uint32_t end = Field(fromClient_.mapping.View(), kWriteAt).load();
  return std::exchange(told_, end) != end;
}

unsigned SimRings::Poll(bool wantsSpace) {
  const auto until = std::chrono::steady_clock::now() + std::chrono::microseconds(spinUs_);
  unsigned news = 0;
  bool there = false;
  do {
    for (int i = 0; i < 64 && !there; ++i) there = HasNewData();
    news = wait_.Wait(fromClient_.readable, toClient_.writable, 0, !wantsSpace);
  } while (!there && news == 0 && std::chrono::steady_clock::now() < until);
  return there ? news | TNamedEventWait::kFirst : news;
}

unsigned SimRings::Wait(int timeoutMs, bool wantsSpace) {
  // Within a stream, yields to the client: woken for each message, both sides would mostly alternate.
  if (moved_.exchange(0) >= kBulk) std::this_thread::yield();
  unsigned news = spinUs_ != 0 ? Poll(wantsSpace) : 0;
  if (news == 0) news = wait_.Wait(fromClient_.readable, toClient_.writable, timeoutMs, !wantsSpace);
  return ((news & TNamedEventWait::kFirst) != 0 ? kData : 0) |
         ((news & TNamedEventWait::kSecond) != 0 ? kSpace : 0);
}

void SimRings::Stop() {
  wait_.Stop(fromClient_.readable, toClient_.writable);
}

}  // namespace VekSim
