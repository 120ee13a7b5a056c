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

struct TRequest;

// Where a request is in a list through the requests themselves: at most in one by each of its links.
struct TListLink {
  TRequest* previous = nullptr;
  TRequest* next = nullptr;
  void* list = nullptr;
};

// A request from the moment it is accepted until nothing can come for it any more. `text` is what is to be
// sent while it has no fate, the answer afterwards.
struct TRequest : TEvent {
  static constexpr std::uint64_t kNowhere = UINT64_MAX;
  static constexpr std::int64_t kNever = INT64_MAX;
  static constexpr std::uint32_t kNotDue = UINT32_MAX;

  EPhase phase = EPhase::Free;
  bool tried = false;   // not held when it cannot go
  bool placed = false;  // has its place in the gate already
  bool own = false;     // the session's, not the application's
  std::uint8_t idLength = 0;
  std::uint32_t index = 0;           // in the pool
  std::uint32_t idHash = 0;          // where the pool finds it by its id
  std::uint32_t dueIndex = kNotDue;  // in a heap of TDueTimes
  std::uint32_t answerMs = 0;
  std::uint64_t at = kNowhere;  // where its message begins in the link's stream
  std::int64_t dueNs = kNever;
  TListLink place;  // a lane, what is out, what is remembered, or what is free
  TListLink due;    // in a row of TDueTimes

  std::string_view Id() const { return {workId, idLength}; }
  bool Undecided() const { return phase == EPhase::Held || IsSent(); }
  bool IsSent() const { return phase == EPhase::Going || phase == EPhase::Out; }
};

template <TListLink TRequest::*kLink>
class TListBy {
 public:
  TRequest* First() const { return first_; }
  TRequest* Last() const { return last_; }
  bool Empty() const { return first_ == nullptr; }
  std::uint32_t Size() const { return size_; }
  bool Has(const TRequest& request) const { return (request.*kLink).list == this; }

  void PushBack(TRequest& request) { Insert(request, last_, nullptr); }
  void PushFront(TRequest& request) { Insert(request, nullptr, first_); }

  void Remove(TRequest& request) {
    TListLink& link = request.*kLink;
    (link.previous ? (link.previous->*kLink).next : first_) = link.next;
    (link.next ? (link.next->*kLink).previous : last_) = link.previous;
    link = {};
    --size_;
  }

 private:
  void Insert(TRequest& request, TRequest* before, TRequest* behind) {
    request.*kLink = {before, behind, this};
    (before ? (before->*kLink).next : first_) = &request;
    (behind ? (behind->*kLink).previous : last_) = &request;
    ++size_;
  }

  TRequest* first_ = nullptr;
  TRequest* last_ = nullptr;
  std::uint32_t size_ = 0;
};

using TRequestList = TListBy<&TRequest::place>;

inline void Leave(TRequest& request) {
  if (request.place.list) static_cast<TRequestList*>(request.place.list)->Remove(request);
}

}  // namespace VekApi
