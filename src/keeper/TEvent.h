// Events waiting to be delivered to the application.
#pragma once

#include <cstdint>
#include <string>

#include "vekapi/VekSessionC.h"
#include "vekapi/VekTaskResult.h"

namespace VekApi {

inline constexpr std::size_t kIdRoom = 32;

// A request is itself the event that reports its fate, so that no fate is lost when memory runs out. Kept
// small, because a hundred thousand may be waiting.
struct TEvent {
  std::uint8_t kind = 0;
  std::uint8_t state = vss_Closed;
  std::uint8_t fate = vsf_None;
  bool isRequest = false;  // a TRequest owned by its ledger; otherwise a TNews
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
  std::string text;  // of what brought no result

  // Throws std::bad_alloc; the event is then without a result.
  void TakeResult(const VekTaskResult& from) {
    from.OrigResult();
    result = from;
    hasResult = true;
  }

  // The server's text. Made when the event was, so this cannot fail.
  const std::string& Text() const { return hasResult ? result.OrigResult() : text; }
};

// An event that belongs to no request.
struct TNews : TEvent {
  std::int32_t cause = 0;
  std::uint32_t attempt = 0;
  std::int32_t waitMs = 0;
  std::uint32_t neverSent = 0;
  std::uint32_t unknown = 0;
  std::string detail;
};

// A FIFO queue. Allocates and recycles the TNews objects.
class TEventQueue {
 public:
  bool Empty() const { return first_ == nullptr; }
  std::uint32_t Size() const { return size_; }

  // An empty event, not yet queued. Throws std::bad_alloc.
  TNews& New();
  // The same, but takes one of those set aside by Reserve if any are left.
  TNews& NewReserved();
  void Reserve(unsigned count);

  void Push(TEvent& event);

  // The event stays `queued` until the caller has finished with it. Null if the queue is empty.
  TEvent* Pop();

  // Recycles an event obtained from New.
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
