#pragma once

#include <cstdint>
#include <string>

#include "platform/os/NamedEvent.h"
#include "platform/os/NamedMapping.h"
#include "shmem/TShMemRing.h"

namespace Dova {

// One named ring: the mapping, and an event for each side. The read event signals data, the write event
// signals free space.
//
// Not thread-safe, with one exception: one thread may read or write while another waits for the events.
class TShMemChannel {
 public:
  TShMemChannel() = default;
  virtual ~TShMemChannel() { Close(); }
  TShMemChannel(const TShMemChannel&) = delete;
  TShMemChannel& operator=(const TShMemChannel&) = delete;

  // Closes the current ring, then joins an existing one; or, with `create` and a size other than 0 and
  // 0xFFFFFFFF, creates a new one with a capacity of `size` bytes. On failure returns false, stays closed,
  // and Error() has the cause. Never blocks.
  bool Open(const std::string& name, std::uint32_t size = 0, bool create = false);
  void Close();
  bool IsOpen() const { return static_cast<bool>(ring_); }

  const std::string& Name() const {
    return name_;
  }  // empty if closed; without the prefix if that was not permitted
  const std::string& Error() const { return error_; }  // of the last failure
  Os::ECause Cause() const { return cause_; }          // likewise

  // Moves what fits, or what is available, and wakes the other side. Returns the count, 0, or
  // TShMemRing::kBroken.
  std::ptrdiff_t Write(const char* bytes, std::size_t length);
  std::ptrdiff_t Read(char* buffer, std::size_t size);

  const TShMemRing& Ring() const { return ring_; }
  void WipePassed() { ring_.WipePassed(); }
  void WipeAll() {
    if (ring_) ring_.WipeAll();
  }

  Os::TNamedEvent& ReadEvent() { return readEvent_; }
  Os::TNamedEvent& WriteEvent() { return writeEvent_; }

 private:
  bool OpenMapping(std::uint32_t size, bool create);
  bool Join();
  bool OpenEvents(bool create);
  bool Fail(const char* where, Os::TError why);

  std::string error_;
  Os::ECause cause_ = Os::ECause::Other;
  std::string name_;
  Os::TNamedMapping mapping_;
  Os::TNamedEvent readEvent_;
  Os::TNamedEvent writeEvent_;
  TShMemRing ring_;
};

}  // namespace Dova
