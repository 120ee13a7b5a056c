// Where records lie: bytes that never move once written, and arrays of 32-bit numbers that only grow. One
// arena serves all tables of a parsed result; a table that is copied, or that the application adds records
// to, has its own.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <new>
#include <vector>

namespace VekApi {

struct TFree {
  void operator()(void* memory) const noexcept { std::free(memory); }
};

// Grown by realloc, which moves the pages of large arrays instead of their bytes, and never filled in
// advance.
class TWords {
 public:
  const std::uint32_t* Data() const { return data_.get(); }
  std::size_t Size() const { return size_; }
  std::size_t Capacity() const { return capacity_; }

  // Makes sure that `count` words can be written behind those that there are. Gives the first word of all.
  std::uint32_t* Room(std::size_t count) {
    if (capacity_ - size_ < count) Grow(count);
    return data_.get();
  }

  // Takes over what was written into the room.
  void SetSize(std::size_t size) { size_ = size; }

  // Gives the place of the first one.
  std::size_t Append(const std::uint32_t* words, std::size_t count) {
    std::copy_n(words, count, Room(count) + size_);
    return (size_ += count) - count;
  }

  void Push(std::uint32_t word) { Room(1)[size_++] = word; }

 private:
  void Grow(std::size_t count) {
    const std::size_t capacity = size_ + count + capacity_ / 2;
    void* grown = std::realloc(data_.get(), capacity * sizeof(std::uint32_t));
    if (!grown) throw std::bad_alloc();
    static_cast<void>(data_.release());
    data_.reset(static_cast<std::uint32_t*>(grown));
    capacity_ = capacity;
  }

  std::unique_ptr<std::uint32_t, TFree> data_;
  std::size_t size_ = 0;
  std::size_t capacity_ = 0;
};

class TRecordArena {
 public:
  // `bytes` of memory at an address of their own; the content is whatever there was.
  char* NewText(std::size_t bytes) {
    if (spare_ && spareBytes_ >= bytes) {
      texts_.push_back({nullptr, spareBytes_});
      texts_.back().bytes.swap(spare_);
    } else {
      std::unique_ptr<char, TFree> fresh(static_cast<char*>(std::malloc(bytes)));
      if (!fresh) throw std::bad_alloc();
      texts_.push_back({std::move(fresh), bytes});
    }
    return texts_.back().bytes.get();
  }

  // Forgets everything; the largest text and the arrays are kept for what comes.
  void Clear() {
    for (TText& text : texts_) {
      if (spare_ && spareBytes_ >= text.size) continue;
      spare_ = std::move(text.bytes);
      spareBytes_ = text.size;
    }
    texts_.clear();
    starts.SetSize(0);
    ends.SetSize(0);
  }

  // Memory that Clear kept.
  std::size_t KeptBytes() const {
    return (spare_ ? spareBytes_ : 0) + (starts.Capacity() + ends.Capacity()) * sizeof(std::uint32_t);
  }

  TWords starts;  // where values start, from the first byte of the run of records that they belong to
  TWords ends;    // for each record, how many of its run's starts there are up to its end

 private:
  struct TText {
    std::unique_ptr<char, TFree> bytes;
    std::size_t size;
  };

  std::vector<TText> texts_;
  std::unique_ptr<char, TFree> spare_;
  std::size_t spareBytes_ = 0;
};

}  // namespace VekApi
