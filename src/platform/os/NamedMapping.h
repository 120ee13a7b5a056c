#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "platform/os/Error.h"

namespace Dova::Os {

// How a named object is opened.
enum class EOpen {
  Make,  // it must not exist; on Windows every user of the machine may join it
  Join,  // it must exist
};

// The name under which other processes find an object created by this one. Windows: `name` itself. Linux:
// `name` with the process id and a colon in front.
std::string OwnName(const std::string& name);

// Memory shared by processes under a name.
//
// Windows: a mapping on the paging file. Linux: a sealed memory file, which joiners find among the creator's
// descriptors (docs/shared-memory.md). A mapping that can be joined is fully allocated, cannot shrink, and
// belongs to this user. No function here waits for another process.
//
// Not thread-safe and not copyable.
class TNamedMapping {
 public:
  TNamedMapping();
  ~TNamedMapping();
  TNamedMapping(TNamedMapping&& other) noexcept;
  TNamedMapping& operator=(TNamedMapping&& other) noexcept;

  // If made: zeroed, `bytes` long. If joined: as long as it is. Returns false on failure; Error() has the
  // cause.
  bool Open(const std::string& name, std::uint64_t bytes, EOpen how);

  // Maps the first `bytes`, or everything if 0. False if there are not that many.
  bool MapView(std::uint64_t bytes);

  // Linux: no process can find it any more; processes that have joined keep it. Windows: does nothing.
  void HideName() noexcept;

  void Close() noexcept;

  std::byte* View() const noexcept;     // null if nothing is mapped
  std::uint64_t Size() const noexcept;  // accessible bytes at View()

  TError Error() const noexcept { return {nullptr, error_}; }  // of the last failure
  bool IsMissing() const noexcept;                             // the failure was that nobody has created it
  static TError BadSizeError() noexcept;                       // the system's error for an invalid size

 private:
  struct TNative;
  std::unique_ptr<TNative> native_;
  int error_ = 0;
};

}  // namespace Dova::Os
