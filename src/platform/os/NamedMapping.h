#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace Dova::Os {

// Memory that processes share by a name. It lives while somebody has it open; the last one takes the name
// away.
//
// Windows: a mapping on the paging file. Linux: a POSIX shared-memory object of the user's own
// (docs/shared-memory.md has the names). Not thread-safe, and not copyable.
class TNamedMapping {
 public:
  enum class EOpen {
    Make,  // whoever asks first makes it, zeroed, `bytes` long
    Join,  // what others have made, whatever `bytes` says; a name that nobody made gives zeroed memory of
           // one's own
  };

  TNamedMapping();
  ~TNamedMapping();
  TNamedMapping(TNamedMapping&& other) noexcept;
  TNamedMapping& operator=(TNamedMapping&& other) noexcept;

  // False on failure; Error() says why. `forEveryone` opens what is made to every user of the machine, where
  // the system has that (Windows); elsewhere it stays with this user.
  bool Open(const std::string& name, std::uint64_t bytes, EOpen how, bool forEveryone);

  // Maps the first `bytes`, 0: all there is. False when there are not that many.
  bool MapView(std::uint64_t bytes);

  void Close() noexcept;

  // Takes away what processes that were all killed have left behind, events included. Where the system does
  // that by itself (Windows) there is nothing to do.
  static void RemoveAbandoned();

  std::byte* View() const noexcept;     // null when nothing is mapped
  std::uint64_t Size() const noexcept;  // bytes at View() that may be touched

  int Error() const noexcept { return error_; }  // the system's code of the last failure

 private:
  struct TNative;
  std::unique_ptr<TNative> native_;
  int error_ = 0;
};

}  // namespace Dova::Os
