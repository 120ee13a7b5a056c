#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "keeper/TEvent.h"

namespace VekApi {

enum class EPhase : std::uint8_t {
  Free,
  Held,   // waits in a lane
  Going,  // a thread is inside Send with it
  Out,    // the link took it
  Told,   // has its fate
};

// A request from the moment it is accepted until nothing can come for it any more. `text` is what is to be
// sent while it has no fate, the answer afterwards.
struct TRequest : TEvent {
  static constexpr std::uint64_t kNowhere = UINT64_MAX;
  static constexpr std::int64_t kNever = INT64_MAX;
  static constexpr std::size_t kNotDue = static_cast<std::size_t>(-1);

  EPhase phase = EPhase::Free;
  bool tried = false;   // not held when it cannot go
  bool placed = false;  // has its place in the gate already
  bool own = false;     // the session's, not the application's
  std::uint8_t idLength = 0;
  std::uint32_t index = 0;      // in the pool
  std::uint64_t serial = 0;     // of its uses: the high part of its tickets
  std::uint64_t at = kNowhere;  // where its message begins in the link's stream
  std::uint32_t answerMs = 0;
  std::int64_t dueNs = kNever;
  std::size_t dueIndex = kNotDue;
  // In one list at a time: a lane, what is out, what is remembered, what is free.
  TRequest* previous = nullptr;
  TRequest* next = nullptr;
  class TRequestList* list = nullptr;
  TRequest* nextAlike = nullptr;  // in the table of work ids

  std::string_view Id() const { return {workId, idLength}; }
  bool Undecided() const { return phase == EPhase::Held || IsSent(); }
  bool IsSent() const { return phase == EPhase::Going || phase == EPhase::Out; }
};

// A list through the requests themselves.
class TRequestList {
 public:
  TRequest* First() const { return first_; }
  TRequest* Last() const { return last_; }
  bool Empty() const { return first_ == nullptr; }
  std::uint32_t Size() const { return size_; }

  void PushBack(TRequest& request) { Insert(request, last_, nullptr); }
  void PushFront(TRequest& request) { Insert(request, nullptr, first_); }

  void Remove(TRequest& request) {
    (request.previous ? request.previous->next : first_) = request.next;
    (request.next ? request.next->previous : last_) = request.previous;
    request.previous = request.next = nullptr;
    request.list = nullptr;
    --size_;
  }

 private:
  void Insert(TRequest& request, TRequest* before, TRequest* behind) {
    request.previous = before;
    request.next = behind;
    request.list = this;
    (before ? before->next : first_) = &request;
    (behind ? behind->previous : last_) = &request;
    ++size_;
  }

  TRequest* first_ = nullptr;
  TRequest* last_ = nullptr;
  std::uint32_t size_ = 0;
};

inline void Leave(TRequest& request) {
  if (request.list) request.list->Remove(request);
}

}  // namespace VekApi
