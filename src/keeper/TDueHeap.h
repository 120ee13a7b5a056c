#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "keeper/TRequest.h"

namespace VekApi {

// Requests by the moment at which something is due for them, the earliest first; of equal ones the older one.
class TDueHeap {
 public:
  TRequest* First() const { return requests_.empty() ? nullptr : requests_.front(); }

  // Room for `count` in all, so that Put needs no memory. Throws std::bad_alloc.
  void Reserve(std::size_t count) {
    if (count > requests_.capacity()) requests_.reserve(2 * count);
  }
  void Put(TRequest& request, std::int64_t dueNs);
  void Remove(TRequest& request);

 private:
  static bool Before(const TRequest& left, const TRequest& right) {
    return left.dueNs != right.dueNs ? left.dueNs < right.dueNs : left.ticket < right.ticket;
  }
  void SetAt(std::size_t index, TRequest* request);
  void Up(std::size_t index);
  void Down(std::size_t index);

  std::vector<TRequest*> requests_;
};

}  // namespace VekApi
