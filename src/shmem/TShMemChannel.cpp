#include "shmem/TShMemChannel.h"

#include <utility>

namespace Dova {
namespace {

constexpr char kGlobalPrefix[] = "Global\\";
constexpr std::size_t kGlobalPrefixSize = sizeof kGlobalPrefix - 1;
constexpr std::uint32_t kNoSize = 0xFFFFFFFF;

// 64 bits, because the capacity in a header may be any number.
std::uint64_t MappingBytes(std::uint32_t capacity) {
  return std::uint64_t{capacity} + TShMemRing::kHeaderBytes;
}

Os::EOpen How(bool create) {
  return create ? Os::EOpen::Make : Os::EOpen::Join;
}

}  // namespace

bool TShMemChannel::Open(const std::string& name, std::uint32_t size, bool create) {
  Close();
  if (size == 0 || size == kNoSize) create = false;
  if (!create) size = 0;
  name_ = name;
  if (!mapping_.Open(name, MappingBytes(size) + 1, How(create))) {
    // Creating global names requires a privilege that a gateway's user may lack.
    if (name.rfind(kGlobalPrefix, 0) == 0) return Open(name.substr(kGlobalPrefixSize), size, create);
    return Fail(mapping_.IsMissing() ? "Invalid ShMem size: " : "CreateFileMapping:", mapping_.Error());
  }
  if (!OpenMapping(size, create) || !OpenEvents(create)) return false;
  // Last: a joiner that sees a capacity also finds the events.
  if (create) TShMemRing::Format(mapping_.View(), static_cast<std::size_t>(mapping_.Size()), size + 1);
  return true;
}

bool TShMemChannel::OpenMapping(std::uint32_t size, bool create) {
  if (!mapping_.MapView(create ? MappingBytes(size) + 1 : 0)) return Fail("MapViewOfFile:", mapping_.Error());
  if (!create) return Join();
  ring_ = TShMemRing(mapping_.View(), size + 1);
  return true;
}

// Checks the header's capacity by mapping that much; from here on only our copy of the number is used.
bool TShMemChannel::Join() {
  const bool hasHeader = mapping_.Size() >= TShMemRing::kHeaderBytes;
  const std::uint32_t capacity = hasHeader ? TShMemRing::CapacityIn(mapping_.View()) : 0;
  if (capacity == 0) return Fail("Invalid ShMem size: ", Os::TNamedMapping::BadSizeError());
  Os::TNamedMapping whole;
  if (!whole.Open(name_, MappingBytes(capacity), How(false))) {
    return Fail("Re.CreateFileMapping:", whole.Error());
  }
  if (!whole.MapView(MappingBytes(capacity))) return Fail("Re.MapViewOfFile:", whole.Error());
  mapping_ = std::move(whole);
  ring_ = TShMemRing(mapping_.View(), capacity);
  return true;
}

bool TShMemChannel::OpenEvents(bool create) {
  if (!readEvent_.Open(name_ + ".REv", How(create))) return Fail("CreateEvent.REv:", readEvent_.Error());
  if (!writeEvent_.Open(name_ + ".WEv", How(create))) return Fail("CreateEvent.WEv:", writeEvent_.Error());
  return true;
}

bool TShMemChannel::Fail(const char* where, Os::TError why) {
  error_ = where + why.Text();
  cause_ = why.Cause();
  Close();
  return false;
}

void TShMemChannel::Close() {
  ring_ = {};
  readEvent_.Close();
  writeEvent_.Close();
  mapping_.Close();
  name_.clear();
}

std::ptrdiff_t TShMemChannel::Write(const char* bytes, std::size_t length) {
  const std::ptrdiff_t count = ring_.Write(bytes, length);
  if (count > 0) readEvent_.Set();
  return count;
}

std::ptrdiff_t TShMemChannel::Read(char* buffer, std::size_t size) {
  const std::ptrdiff_t count = ring_.Read(buffer, size);
  if (count > 0) writeEvent_.Set();
  return count;
}

}  // namespace Dova
