#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace Dova::Os {

// How a named thing is opened.
enum class EOpen {
  Make,  // it must not be there; where the system has that (Windows), every user of the machine may join it
  Join,  // somebody must have made it
};

// A name under which other processes find what this one makes. Windows: `name` itself. Linux: the process's
// number and a colon in front of it.
std::string OwnName(const std::string& name);

// Memory that processes share by a name.
//
// Windows: a mapping on the paging file. Linux: a sealed memory file, which joiners find among the maker's
// descriptors (docs/shared-memory.md). What can be joined has all its memory, cannot become shorter, and
// belongs to this user. Nothing here waits for another process.
//
// Not thread-safe, and not copyable.
class TNamedMapping {
 public:
  TNamedMapping();
  ~TNamedMapping();
  TNamedMapping(TNamedMapping&& other) noexcept;
  TNamedMapping& operator=(TNamedMapping&& other) noexcept;

  // Made: zeroed, `bytes` long. Joined: as long as it is. False on failure; Error() says why.
  bool Open(const std::string& name, std::uint64_t bytes, EOpen how);

  // Maps the first `bytes`, 0: all there is. False when there are not that many.
  bool MapView(std::uint64_t bytes);

  // Linux: nobody finds it any more; who has joined keeps it. Windows: nothing.
  void HideName() noexcept;

  void Close() noexcept;

  std::byte* View() const noexcept;     // null when nothing is mapped
  std::uint64_t Size() const noexcept;  // bytes at View() that may be touched

  int Error() const noexcept { return error_; }  // the system's code of the last failure
  bool IsMissing() const noexcept;               // that failure: nobody has made it
  static int BadSizeError() noexcept;            // the code for a size that cannot be

 private:
  struct TNative;
  std::unique_ptr<TNative> native_;
  int error_ = 0;
};

}  // namespace Dova::Os
