// A memory file that processes of one user share.
#pragma once

#include <cstdint>
#include <string>

namespace Dova::Os {

// The file has no name in any directory: it is one of its maker's descriptors, and others find it there by
// the label that it carries. So it needs no lock and no cleaning up, whoever dies when. It is sealed against
// shrinking, and has all its memory from the beginning: no access to it can fail.
class TSharedObject {
 public:
  TSharedObject() = default;
  ~TSharedObject() { Close(); }
  TSharedObject(const TSharedObject&) = delete;
  TSharedObject& operator=(const TSharedObject&) = delete;

  // 0, or an errno. Names begin with the maker's process number and a colon (OwnName).
  int Make(const std::string& name, std::uint64_t bytes);
  int Join(const std::string& name);

  // Maps the first `bytes`, 0: all. 0, or an errno: EINVAL when there are not that many.
  int Map(std::uint64_t bytes) noexcept;

  // Keeps what is mapped, and no descriptor: from here on nobody can join.
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
