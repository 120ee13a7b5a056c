#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "keeper/TRequest.h"

namespace VekApi {

// Requests ordered by due time, earliest first; for equal times the older request comes first.
//
// Most requests wait equally long, so the newest is usually due last: it is appended to a row in constant
// time. A request due before the end of every row goes into a heap.
class TDueTimes {
 public:
  // Null if empty.
  TRequest* First() const;

  // Reserves memory for `count` requests in total, so that Put does not allocate. Throws std::bad_alloc.
  void Reserve(std::size_t count) {
    if (count > heap_.capacity()) heap_.reserve(2 * count);
  }
  void Put(TRequest& request, std::int64_t dueNs) {
    Remove(request);
    request.dueNs = dueNs;
    if (dueNs == TRequest::kNever) return;
    soonest_ = std::min(soonest_, dueNs);
    if (rows_[0].Empty() || Before(*rows_[0].Last(), request)) return rows_[0].PushBack(request);
    PutBetween(request);
  }
  void Remove(TRequest& request) {
    if (request.due.list) {
      static_cast<TRow*>(request.due.list)->Remove(request);
    } else if (request.dueIndex != TRequest::kNotDue) {
      RemoveFromHeap(request);
    }
  }

  // A lower bound: nothing is due earlier. Look makes it exact.
  std::int64_t Soonest() const { return soonest_; }
  void Look() {
    const TRequest* const first = First();
    soonest_ = first ? first->dueNs : TRequest::kNever;
  }

 private:
  using TRow = TListBy<&TRequest::due>;
  static constexpr int kRows = 4;

  static bool Before(const TRequest& left, const TRequest& right) {
    return left.dueNs != right.dueNs ? left.dueNs < right.dueNs : left.ticket < right.ticket;
  }
  void PutBetween(TRequest& request);
  void RemoveFromHeap(TRequest& request);
  void SetAt(std::uint32_t index, TRequest* request);
  void Up(std::uint32_t index);
  void Down(std::uint32_t index);

  TRow rows_[kRows];
  std::vector<TRequest*> heap_;
  std::int64_t soonest_ = TRequest::kNever;
};

}  // namespace VekApi
