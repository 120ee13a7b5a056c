#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "keeper/TRequest.h"

namespace VekApi {

// Requests by the moment at which something is due for them, the earliest first; of equal ones the older one.
//
// Most wait equally long, so that the newest is also the last to be due: it goes to the end of a row, which
// costs the same however many there are. What comes between all rows' ends goes into a heap.
class TDueTimes {
 public:
  // Null when there is none.
  TRequest* First() const;

  // Room for `count` in all, so that Put needs no memory. Throws std::bad_alloc.
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

  // Nothing is due before; it may be earlier than that, until Look finds out.
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
