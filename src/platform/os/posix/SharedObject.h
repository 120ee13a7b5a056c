// A POSIX shared-memory object with the life of a Windows one.
#pragma once

#include <cstdint>
#include <string>

namespace Dova::Os {

// Everyone who has the object open holds a shared file lock on it. Whoever closes it and can have the lock
// alone is the last one and unlinks the name; a process that is killed loses its lock, so the last one that
// lives still does. An object that is locked by nobody was left behind by processes that were all killed:
// opening it to make one starts afresh.
class TSharedObject {
 public:
  TSharedObject() = default;
  ~TSharedObject() { Close(); }
  TSharedObject(const TSharedObject&) = delete;
  TSharedObject& operator=(const TSharedObject&) = delete;

  // 0, or an errno. With `make` an object that is not there is made, zeroed, of `bytes`.
  int Open(const std::string& name, std::uint64_t bytes, bool make);
  void Close() noexcept;

  // Maps the first `bytes`, 0: all; null, and errno set, when there are not that many.
  void* Map(std::uint64_t bytes) noexcept;
  void* View() const noexcept { return view_; }
  std::uint64_t ViewBytes() const noexcept { return viewBytes_; }

  // Unlinks every object that nobody has locked.
  static void RemoveAbandoned();

  // The name in the system's directory; empty when it would be too long.
  static std::string SystemName(const std::string& name);

 private:
  int OpenOnce(std::uint64_t bytes, bool make);
  int Lock(std::uint64_t bytes, bool make) const;
  bool IsUnlinked() const noexcept;
  void Unmap() noexcept;

  std::string path_;
  int fd_ = -1;
  void* view_ = nullptr;
  std::uint64_t viewBytes_ = 0;
};

}  // namespace Dova::Os
