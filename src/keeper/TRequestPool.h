#pragma once

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "keeper/TIdTable.h"
#include "keeper/TRequest.h"

namespace VekApi {

// A session's requests, found by ticket or work id. Freed requests are reused.
class TRequestPool {
 public:
  // A blank request with a new ticket. Null if there are too many. Throws std::bad_alloc.
  TRequest* New();

  // Its ticket becomes invalid.
  void Free(TRequest& request);

  // Null if the ticket is not, or no longer, valid.
  TRequest* Find(std::uint64_t ticket) const;

  // Sets the work id and enters it into the table of ids. Free removes it.
  void Name(TRequest& request, std::string_view id);

  // The oldest request with that id that satisfies `wanted`.
  template <class TWanted>
  TRequest* FindId(std::string_view id, const TWanted& wanted) const {
    if (id.empty()) return nullptr;
    TRequest* found = nullptr;
    ids_.ForEach(TIdTable::HashOf(id), [&](std::uint32_t index) {
      TRequest& each = At(index);
      if (each.Id() == id && (!found || each.ticket < found->ticket) && wanted(each)) found = &each;
    });
    return found;
  }

  std::size_t Size() const { return used_; }

 private:
  static constexpr unsigned kIndexBits = 24;
  static constexpr std::uint32_t kChunk = 16;

  TRequest& At(std::uint32_t index) const { return chunks_[index / kChunk][index % kChunk]; }
  void AddChunk();
  void Unname(TRequest& request);

  std::vector<std::unique_ptr<TRequest[]>> chunks_;
  TIdTable ids_;
  TRequestList free_;
  std::size_t used_ = 0;
  std::uint64_t serial_ = 0;
};

}  // namespace VekApi
