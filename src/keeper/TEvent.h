// What the application is to be told, as it waits to be told.
#pragma once

#include <cstdint>
#include <string>

#include "vekapi/VekSessionC.h"
#include "vekapi/VekTaskResult.h"

namespace VekApi {

inline constexpr std::size_t kIdRoom = 32;

// A request carries its own fate as such an event, so that no fate is lost for want of memory. Small, since a
// hundred thousand of them may wait.
struct TEvent {
  std::uint8_t kind = 0;
  std::uint8_t state = vss_Closed;
  std::uint8_t fate = vsf_None;
  bool isRequest = false;  // a TRequest, which its ledger owns, else a TNews
  bool hasResult = false;
  bool queued = false;
  std::int16_t reason = 0;
  std::int32_t code = 0;
  std::uint32_t flags = 0;
  std::uint32_t link = 0;
  std::uint32_t endpoint = 0;
  std::uint64_t ticket = 0;
  std::uint64_t tag = 0;
  std::int64_t atNs = 0;
  std::int64_t unixNs = 0;
  std::int64_t submittedNs = 0;
  std::int64_t handedNs = 0;
  TEvent* nextQueued = nullptr;
  VekTaskResult result;
  char workId[kIdRoom] = {};
  std::string text;
};

// An event that is no request's.
struct TNews : TEvent {
  std::int32_t cause = 0;
  std::uint32_t attempt = 0;
  std::int32_t waitMs = 0;
  std::uint32_t neverSent = 0;
  std::uint32_t unknown = 0;
  std::string detail;
};

// First in, first out. Makes and keeps the news.
class TEventQueue {
 public:
  bool Empty() const { return first_ == nullptr; }
  std::uint32_t Size() const { return size_; }

  // One with nothing in it, not in the queue. Throws std::bad_alloc.
  TNews& New();
  // The same from those that Reserve keeps, when there are any left.
  TNews& NewReserved();
  void Reserve(unsigned count);

  void Push(TEvent& event);

  // Stays `queued` until whoever took it is done with it. Null when there is none.
  TEvent* Pop();

  // Takes back an event that New gave.
  void Free(TNews& event);

  TEventQueue() = default;
  ~TEventQueue();
  TEventQueue(const TEventQueue&) = delete;
  TEventQueue& operator=(const TEventQueue&) = delete;

 private:
  static TNews* NextSpare(const TNews& spare) { return static_cast<TNews*>(spare.nextQueued); }

  static constexpr unsigned kKeep = 256;

  TEvent* first_ = nullptr;
  TEvent* last_ = nullptr;
  std::uint32_t size_ = 0;
  TNews* spare_ = nullptr;
  unsigned spares_ = 0;
  unsigned reserved_ = 0;
};

}  // namespace VekApi
