#include "platform/os/posix/SharedObject.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <filesystem>
#include <string_view>

namespace Dova::Os {
namespace {

// Keeps names that a server gives away from objects of other programs.
constexpr std::string_view kPrefix = "/vekshm.";
constexpr int kGone = -1;  // the name was taken away while it was being opened

// There is one name space here for all sessions of the machine.
std::string_view WithoutNameSpace(std::string_view name) {
  for (const std::string_view space : {"Global\\", "Local\\"}) {
    if (name.substr(0, space.size()) == space) return name.substr(space.size());
  }
  return name;
}

bool IsPlain(char c) {
  return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '.' || c == '-' ||
         c == '_';
}

int FlockRetrying(int fd, int operation) {
  int result = 0;
  do {
    result = flock(fd, operation);
  } while (result != 0 && errno == EINTR);
  return result;
}

}  // namespace

std::string TSharedObject::SystemName(const std::string& name) {
  static constexpr char kHex[] = "0123456789ABCDEF";
  std::string result(kPrefix);
  for (const char c : WithoutNameSpace(name)) {
    if (IsPlain(c)) {
      result += c;
    } else {
      const auto byte = static_cast<unsigned char>(c);
      result += {'%', kHex[byte >> 4], kHex[byte & 15]};
    }
  }
  return result.size() - 1 > NAME_MAX ? std::string() : result;
}

int TSharedObject::Open(const std::string& name, std::uint64_t bytes, bool make) {
  Close();
  path_ = SystemName(name);
  if (path_.empty()) return ENAMETOOLONG;
  for (;;) {
    const int error = OpenOnce(bytes, make);
    if (error != kGone) return error;
  }
}

int TSharedObject::OpenOnce(std::uint64_t bytes, bool make) {
  // Sets the close-on-exec flag by itself.
  fd_ = shm_open(path_.c_str(), make ? O_RDWR | O_CREAT : O_RDWR, S_IRUSR | S_IWUSR);
  if (fd_ < 0) return errno;
  const int error = Lock(bytes, make);
  if (error != 0) {
    close(fd_);
    fd_ = -1;
  }
  return error;
}

int TSharedObject::Lock(std::uint64_t bytes, bool make) const {
  // Alone: it is new, or left behind. A joiner takes it as it is, as its maker may know nothing of the lock.
  if (make && FlockRetrying(fd_, LOCK_EX | LOCK_NB) == 0) {
    if (IsUnlinked()) return kGone;
    if (ftruncate(fd_, 0) != 0 || ftruncate(fd_, static_cast<off_t>(bytes)) != 0) return errno;
  }
  // Not one step when it was alone before: somebody who closes may come in between.
  if (FlockRetrying(fd_, LOCK_SH) != 0) return errno;
  return IsUnlinked() ? kGone : 0;
}

// Whoever is just making one of these sees that its name has gone and makes it again.
void TSharedObject::RemoveAbandoned() {
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator("/dev/shm", error)) {
    const std::string path = "/" + entry.path().filename().string();
    if (path.rfind(kPrefix, 0) != 0) continue;
    TSharedObject object;  // its Close unlinks what it can lock alone
    object.path_ = path;
    object.fd_ = shm_open(path.c_str(), O_RDWR, 0);
  }
}

bool TSharedObject::IsUnlinked() const noexcept {
  struct stat status {};
  return fstat(fd_, &status) == 0 && status.st_nlink == 0;
}

void* TSharedObject::Map(std::uint64_t bytes) noexcept {
  Unmap();
  struct stat status {};
  if (fstat(fd_, &status) != 0) return nullptr;
  const auto there = static_cast<std::uint64_t>(status.st_size);
  if (bytes == 0) bytes = there;
  if (bytes == 0 || bytes > there) {
    errno = EINVAL;
    return nullptr;
  }
  void* const view = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED, fd_, 0);
  if (view == MAP_FAILED) return nullptr;
  view_ = view;
  viewBytes_ = bytes;
  return view_;
}

void TSharedObject::Unmap() noexcept {
  if (view_ != nullptr) munmap(view_, viewBytes_);
  view_ = nullptr;
  viewBytes_ = 0;
}

void TSharedObject::Close() noexcept {
  Unmap();
  if (fd_ < 0) return;
  if (FlockRetrying(fd_, LOCK_EX | LOCK_NB) == 0 && !IsUnlinked()) shm_unlink(path_.c_str());
  close(fd_);
  fd_ = -1;
}

}  // namespace Dova::Os
