#pragma once

#include <cstdint>
#include <string>

#include "platform/os/NamedEvent.h"
#include "platform/os/NamedMapping.h"
#include "shmem/TShMemRing.h"

namespace Dova {

// One ring with its name: the mapping, and an event for each side. The read event says that there is
// something to read, the write event that there is room again.
//
// Not thread-safe, but for this: one thread may write or read while another waits for the events.
class TShMemChannel {
 public:
  TShMemChannel() = default;
  virtual ~TShMemChannel() { Close(); }
  TShMemChannel(const TShMemChannel&) = delete;
  TShMemChannel& operator=(const TShMemChannel&) = delete;

  // Closes what was open. Joins a ring that somebody has created; or, with `create` and a size that is
  // neither 0 nor 0xFFFFFFFF, creates one that takes `size` bytes and is not there yet. False on failure:
  // Error() says why, and it is closed. Waits for nobody.
  bool Open(const std::string& name, std::uint32_t size = 0, bool create = false);
  void Close();
  bool IsOpen() const { return static_cast<bool>(ring_); }

  const std::string& Name() const {
    return name_;
  }  // empty when closed; without the prefix that was not granted
  const std::string& Error() const { return error_; }  // of the last failure

  // What fits, or what is there, and wakes the other side: the count, 0, or TShMemRing::kBroken.
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
  bool Fail(const char* where, int systemError);

  std::string error_;
  std::string name_;
  Os::TNamedMapping mapping_;
  Os::TNamedEvent readEvent_;
  Os::TNamedEvent writeEvent_;
  TShMemRing ring_;
};

}  // namespace Dova
