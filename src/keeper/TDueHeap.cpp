#include "keeper/TDueHeap.h"

namespace VekApi {

void TDueHeap::SetAt(std::size_t index, TRequest* request) {
  requests_[index] = request;
  request->dueIndex = index;
}

void TDueHeap::Put(TRequest& request, std::int64_t dueNs) {
  Remove(request);
  request.dueNs = dueNs;
  if (dueNs == TRequest::kNever) return;
  requests_.push_back(&request);
  request.dueIndex = requests_.size() - 1;
  Up(request.dueIndex);
}

void TDueHeap::Remove(TRequest& request) {
  const std::size_t index = request.dueIndex;
  if (index == TRequest::kNotDue) return;
  request.dueIndex = TRequest::kNotDue;
  TRequest* const last = requests_.back();
  requests_.pop_back();
  if (last == &request) return;
  SetAt(index, last);
  Up(index);
  Down(last->dueIndex);
}

void TDueHeap::Up(std::size_t index) {
  TRequest* const moved = requests_[index];
  for (; index > 0 && Before(*moved, *requests_[(index - 1) / 2]); index = (index - 1) / 2)
    SetAt(index, requests_[(index - 1) / 2]);
  SetAt(index, moved);
}

void TDueHeap::Down(std::size_t index) {
  TRequest* const moved = requests_[index];
  for (std::size_t child = 2 * index + 1; child < requests_.size(); child = 2 * index + 1) {
    if (child + 1 < requests_.size() && Before(*requests_[child + 1], *requests_[child])) ++child;
    if (!Before(*requests_[child], *moved)) break;
    SetAt(index, requests_[child]);
    index = child;
  }
  SetAt(index, moved);
}

}  // namespace VekApi
