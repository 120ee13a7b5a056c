#pragma once

#include <cstddef>
#include <list>
#include <memory>

#include "platform/os/Mutex.h"

namespace Dova {

// FIFO of bytes waiting to be sent, in blocks. Contains its own lock, which the user holds around each call
// or sequence of calls (Mutex()). Bytes are wiped after use.
class TMemQueue {
 public:
  explicit TMemQueue(std::size_t blockSize) : blockSize_(blockSize) {}
  ~TMemQueue();
  TMemQueue(const TMemQueue&) = delete;
  TMemQueue& operator=(const TMemQueue&) = delete;

  Os::TMutex& Mutex() { return mutex_; }

  std::size_t Size() const { return size_; }
  bool Empty() const { return size_ == 0; }

  void Append(const char* bytes, std::size_t length);

  // The oldest contiguous bytes: their address and count, 0 if the queue is empty. They stay in the queue.
  std::size_t GetMemBlock(const char*& bytes) const;

  // Removes the oldest `count` bytes of that block. Returns the bytes left in the queue.
  std::size_t SetMemUsed(std::size_t count);

  void Clear();

 private:
  struct TBlock {
    std::unique_ptr<char[]> bytes;
    std::size_t begin = 0;
    std::size_t end = 0;
  };
  void AddBlock();

  const std::size_t blockSize_;
  std::list<TBlock> blocks_;
  std::list<TBlock> spare_;  // one at most
  std::size_t size_ = 0;
  Os::TMutex mutex_;
};

}  // namespace Dova
