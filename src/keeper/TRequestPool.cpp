#include "keeper/TRequestPool.h"

#include <utility>

namespace VekApi {
namespace {

constexpr std::size_t kKeepTextBytes = 1024;  // a larger text buffer is freed

}  // namespace

// Allocates everything before changing anything.
void TRequestPool::AddChunk() {
  const auto first = static_cast<std::uint32_t>(chunks_.size() * kChunk);
  auto chunk = std::make_unique<TRequest[]>(kChunk);
  ids_.Reserve(first + kChunk);
  chunks_.push_back(std::move(chunk));
  for (std::uint32_t i = 0; i < kChunk; ++i) {
    TRequest& request = At(first + i);
    request.index = first + i;
    request.isRequest = true;
    free_.PushBack(request);
  }
}

TRequest* TRequestPool::New() {
  if (free_.Empty()) {
    if (chunks_.size() * kChunk >= std::size_t{1} << kIndexBits) return nullptr;
    AddChunk();
  }
  TRequest& request = *free_.First();
  free_.Remove(request);
  ++used_;
  request.ticket = ++serial_ << kIndexBits | request.index;
  return &request;
}

void TRequestPool::Free(TRequest& request) {
  Unname(request);
  Leave(request);
  request.phase = EPhase::Free;
  request.ticket = 0;
  request.fate = vsf_None;
  request.reason = 0;
  request.placed = request.tried = request.own = false;
  request.at = TRequest::kNowhere;
  request.handedNs = 0;
  request.text.clear();
  if (request.text.capacity() > kKeepTextBytes) std::string().swap(request.text);
  if (request.hasResult) request.result = VekTaskResult();
  request.hasResult = false;
  free_.PushFront(request);
  --used_;
}

TRequest* TRequestPool::Find(std::uint64_t ticket) const {
  const auto index = static_cast<std::uint32_t>(ticket & ((std::uint64_t{1} << kIndexBits) - 1));
  if (ticket == 0 || index >= chunks_.size() * kChunk) return nullptr;
  TRequest& request = At(index);
  return request.ticket == ticket ? &request : nullptr;
}

void TRequestPool::Name(TRequest& request, std::string_view id) {
  request.idLength = static_cast<std::uint8_t>(id.copy(request.workId, kIdRoom - 1));
  request.workId[request.idLength] = 0;
  if (id.empty()) return;
  request.idHash = TIdTable::HashOf(id);
  ids_.Put(request.idHash, request.index);
}

void TRequestPool::Unname(TRequest& request) {
  if (std::exchange(request.idLength, std::uint8_t{0}) != 0) ids_.Remove(request.idHash, request.index);
}

}  // namespace VekApi
