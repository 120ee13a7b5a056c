#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string_view>
#include <vector>

#include "keeper/TRequest.h"

namespace VekApi {

// The requests of a session, found by ticket and by work id. Memory is kept for the next ones.
class TRequestPool {
 public:
  // Free ones that are as new, with a ticket. Null when there are too many. Throws std::bad_alloc.
  TRequest* New();

  // Its ticket leads nowhere any more.
  void Free(TRequest& request);

  // Null when there is none (any more).
  TRequest* Find(std::uint64_t ticket) const;

  // Into the table of ids, from which Free takes it out.
  void Name(TRequest& request, std::string_view id);

  // The oldest of that id for which `wanted` holds.
  template <class TWanted>
  TRequest* FindId(std::string_view id, TWanted wanted) const {
    if (id.empty() || buckets_.empty()) return nullptr;
    TRequest* found = nullptr;
    for (TRequest* each = buckets_[BucketOf(id)]; each; each = each->nextAlike) {
      if (each->Id() == id && (!found || each->ticket < found->ticket) && wanted(*each)) found = each;
    }
    return found;
  }

  std::size_t Size() const { return used_; }

 private:
  static constexpr unsigned kIndexBits = 24;
  static constexpr std::uint32_t kChunk = 16;

  std::size_t BucketOf(std::string_view id) const {
    return std::hash<std::string_view>{}(id) & (buckets_.size() - 1);
  }
  TRequest& At(std::uint32_t index) const { return chunks_[index / kChunk][index % kChunk]; }
  void AddChunk();
  void GrowTable();
  void Unname(TRequest& request);

  std::vector<std::unique_ptr<TRequest[]>> chunks_;
  std::vector<TRequest*> buckets_;  // a power of two
  TRequestList free_;
  std::size_t used_ = 0;
  std::uint64_t serial_ = 0;
};

}  // namespace VekApi
