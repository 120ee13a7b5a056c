#include "keeper/TDueTimes.h"

namespace VekApi {

TRequest* TDueTimes::First() const {
  TRequest* first = heap_.empty() ? nullptr : heap_.front();
  for (const TRow& row : rows_) {
    if (!row.Empty() && (!first || Before(*row.First(), *first))) first = row.First();
  }
  return first;
}

// Appends to the first row whose last request is due earlier. So each row ends earlier than the one before
// it, and a few rows suffice.
void TDueTimes::PutBetween(TRequest& request) {
  for (TRow& row : rows_) {
    if (row.Empty() || Before(*row.Last(), request)) return row.PushBack(request);
  }
  heap_.push_back(&request);
  Up(static_cast<std::uint32_t>(heap_.size() - 1));
}

void TDueTimes::RemoveFromHeap(TRequest& request) {
  const std::uint32_t index = request.dueIndex;
  request.dueIndex = TRequest::kNotDue;
  TRequest* const last = heap_.back();
  heap_.pop_back();
  if (last == &request) return;
  SetAt(index, last);
  Up(index);
  Down(last->dueIndex);
}

void TDueTimes::SetAt(std::uint32_t index, TRequest* request) {
  heap_[index] = request;
  request->dueIndex = index;
}

void TDueTimes::Up(std::uint32_t index) {
  TRequest* const moved = heap_[index];
  for (; index > 0 && Before(*moved, *heap_[(index - 1) / 2]); index = (index - 1) / 2)
    SetAt(index, heap_[(index - 1) / 2]);
  SetAt(index, moved);
}

void TDueTimes::Down(std::uint32_t index) {
  TRequest* const moved = heap_[index];
  for (std::uint32_t child = 2 * index + 1; child < heap_.size(); child = 2 * index + 1) {
    if (child + 1 < heap_.size() && Before(*heap_[child + 1], *heap_[child])) ++child;
    if (!Before(*heap_[child], *moved)) break;
    SetAt(index, heap_[child]);
    index = child;
  }
  SetAt(index, moved);
}

}  // namespace VekApi
