// A list that grows without moving its items, and that clears at once.
#pragma once

#include <cstddef>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>
#include <vector>

namespace VekApi {

template <class TItem>
class TChunks {
  static_assert(std::is_trivially_destructible_v<TItem>);

 public:
  std::size_t Size() const { return size_; }
  TItem& operator[](std::size_t index) { return *At(index); }
  const TItem& operator[](std::size_t index) const { return *At(index); }
  TItem& Back() { return *At(size_ - 1); }

  template <class... TArgs>
  TItem& Add(TArgs&&... args) {
    if (size_ == chunks_.size() * kItems) chunks_.push_back(std::make_unique_for_overwrite<TChunk>());
    TItem* const item = new (At(size_)) TItem{std::forward<TArgs>(args)...};
    ++size_;
    return *item;
  }

  // Keeps memory for `kept` items.
  void Clear(std::size_t kept) {
    size_ = 0;
    if (chunks_.size() <= kept / kItems) return;
    chunks_.resize(kept / kItems);
    chunks_.shrink_to_fit();
  }

 private:
  static constexpr std::size_t kItems = 8;

  struct TChunk {
    alignas(TItem) std::byte bytes[kItems * sizeof(TItem)];
  };

  TItem* At(std::size_t index) const {
    return reinterpret_cast<TItem*>(chunks_[index / kItems]->bytes) + index % kItems;
  }

  std::vector<std::unique_ptr<TChunk>> chunks_;
  std::size_t size_ = 0;
};

}  // namespace VekApi
