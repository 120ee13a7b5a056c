// A memory file shared by processes of one user.
#pragma once

#include <cstdint>
#include <string>

namespace Dova::Os {

// The file has no name in any directory: it is one of its creator's descriptors, and other processes find it
// there by its label. It needs no lock, and no cleanup after a crash. It is sealed against shrinking and
// fully allocated from the start, so no access to it can fail.
class TSharedObject {
 public:
  TSharedObject() = default;
  ~TSharedObject() { Close(); }
  TSharedObject(const TSharedObject&) = delete;
  TSharedObject& operator=(const TSharedObject&) = delete;

  // Returns 0 or an errno. Names start with the creator's process id and a colon (OwnName).
  int Make(const std::string& name, std::uint64_t bytes);
  int Join(const std::string& name);

  // Maps the first `bytes`, or all if 0. Returns 0 or an errno; EINVAL if there are not that many.
  int Map(std::uint64_t bytes) noexcept;

  // Keeps the mapping, but closes the descriptor: no process can join from now on.
  void HideName() noexcept;
  void Close() noexcept;

  void* View() const noexcept { return view_; }
  std::uint64_t ViewBytes() const noexcept { return viewBytes_; }

 private:
  int fd_ = -1;
  void* view_ = nullptr;
  std::uint64_t viewBytes_ = 0;
};

}  // namespace Dova::Os
