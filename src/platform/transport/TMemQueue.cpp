#include "platform/transport/TMemQueue.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "platform/runtime/Wipe.h"

namespace Dova {

TMemQueue::~TMemQueue() {
  Clear();
}

void TMemQueue::AddBlock() {
  if (spare_.empty()) spare_.push_back({std::make_unique_for_overwrite<char[]>(blockSize_)});
  blocks_.splice(blocks_.end(), spare_);
}

void TMemQueue::Append(const char* bytes, std::size_t length) {
  while (length != 0) {
    if (blocks_.empty() || blocks_.back().end == blockSize_) AddBlock();
    TBlock& block = blocks_.back();
    const std::size_t count = std::min(length, blockSize_ - block.end);
    std::memcpy(block.bytes.get() + block.end, bytes, count);
    block.end += count;
    size_ += count;
    bytes += count;
    length -= count;
  }
}

std::size_t TMemQueue::GetMemBlock(const char*& bytes) const {
  if (blocks_.empty()) return 0;
  const TBlock& block = blocks_.front();
  bytes = block.bytes.get() + block.begin;
  return block.end - block.begin;
}

std::size_t TMemQueue::SetMemUsed(std::size_t count) {
  if (blocks_.empty()) return 0;
  TBlock& block = blocks_.front();
  count = std::min(count, block.end - block.begin);
  WipeBytes(block.bytes.get() + block.begin, count);
  block.begin += count;
  size_ -= count;
  if (block.begin == block.end) {
    block.begin = block.end = 0;
    spare_.clear();
    spare_.splice(spare_.end(), blocks_, blocks_.begin());
  }
  return size_;
}

void TMemQueue::Clear() {
  const char* bytes = nullptr;
  while (const std::size_t count = GetMemBlock(bytes)) SetMemUsed(count);
  spare_.clear();
}

}  // namespace Dova
