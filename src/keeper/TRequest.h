#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "keeper/TEvent.h"

namespace VekApi {

enum class EPhase : std::uint8_t {
  Free,
  Held,   // waiting in a lane
  Going,  // a thread is inside Send with it
  Out,    // the link took it
  Told,   // has its fate
};

struct TRequest;

// Intrusive list links. Through each of its TListLink members a request is in at most one list.
struct TListLink {
  TRequest* previous = nullptr;
  TRequest* next = nullptr;
  void* list = nullptr;
};

// A request, from its acceptance until nothing more can arrive for it. `text` is the text to send until the
// fate is known, then the answer.
struct TRequest : TEvent {
  static constexpr std::uint64_t kNowhere = UINT64_MAX;
  static constexpr std::int64_t kNever = INT64_MAX;
  static constexpr std::uint32_t kNotDue = UINT32_MAX;

  EPhase phase = EPhase::Free;
  bool tried = false;   // refused instead of held if it cannot go immediately
  bool placed = false;  // already has its place in the gate
  bool own = false;     // made by the session, not the application
  std::uint8_t idLength = 0;
  std::uint32_t index = 0;           // in the pool
  std::uint32_t idHash = 0;          // key in the pool's table of ids
  std::uint32_t dueIndex = kNotDue;  // in the heap of TDueTimes
  std::uint32_t answerMs = 0;
  std::uint64_t at = kNowhere;  // offset of its message in the link's stream
  std::int64_t dueNs = kNever;
  TListLink place;  // a lane, or the sent, remembered or free requests
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
