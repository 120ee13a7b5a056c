#include "platform/os/posix/SharedObject.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/magic.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>

#include "platform/os/NamedMapping.h"

#ifndef MFD_NOEXEC_SEAL
#define MFD_NOEXEC_SEAL 0x0008U
#endif

namespace Dova::Os {
namespace {

constexpr std::string_view kPrefix = "vekshm.";
constexpr std::size_t kMaxLabel = 249;  // the system's limit
// Upper limit of the descriptors searched in a process; a gateway with more is not supported.
constexpr int kMaxDescriptors = 65'536;
constexpr int kSeals = F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_SEAL;

// Linux has a single name space for all sessions of the machine.
std::string_view WithoutNameSpace(std::string_view name) {
  for (const std::string_view space : {"Global\\", "Local\\"}) {
    if (name.substr(0, space.size()) == space) return name.substr(space.size());
  }
  return name;
}

// The link text of a descriptor of that file in /proc; empty if the name is too long.
std::string LinkText(std::string_view name) {
  const std::string label = std::string(kPrefix).append(WithoutNameSpace(name));
  return label.size() > kMaxLabel ? std::string() : "/memfd:" + label + " (deleted)";
}

bool Shows(int folder, const char* entry, std::string_view wanted) {
  char text[kMaxLabel + 32];
  errno = 0;
  const ssize_t length = readlinkat(folder, entry, text, sizeof text);
  return length > 0 && std::string_view(text, static_cast<std::size_t>(length)) == wanted;
}

// Opens memory files only: opening other files could block or have side effects.
int OpenEntry(int folder, const char* entry, const std::string& wanted) {
  const int path = openat(folder, entry, O_PATH | O_CLOEXEC);
  if (path < 0) return -1;
  char self[32];
  std::snprintf(self, sizeof self, "/proc/self/fd/%d", path);
  const int fd = Shows(AT_FDCWD, self, wanted) ? open(self, O_RDWR | O_CLOEXEC) : -1;
  close(path);
  return fd;
}

struct TCloseFolder {
  void operator()(DIR* folder) const noexcept { closedir(folder); }
};

// A descriptor of that file, or -1 with errno.
int Find(const std::string& process, const std::string& wanted) {
  const std::unique_ptr<DIR, TCloseFolder> folder(opendir(("/proc/" + process + "/fd").c_str()));
  if (!folder) return -1;
  int error = ENOENT;
  for (int i = 0; i < kMaxDescriptors; ++i) {
    const dirent* const entry = readdir(folder.get());
    if (entry == nullptr) break;
    if (Shows(dirfd(folder.get()), entry->d_name, wanted)) {
      return OpenEntry(dirfd(folder.get()), entry->d_name, wanted);
    }
    if (errno == EACCES) error = EACCES;  // no permission to inspect the process
  }
  errno = error;
  return -1;
}

// Accepts files that cannot shrink, are fully allocated, and belong to this user.
int Check(int fd) noexcept {
  const int seals = fcntl(fd, F_GET_SEALS);
  if (seals < 0 || (seals & F_SEAL_SHRINK) == 0) return EPERM;
  struct statfs system {};
  if (fstatfs(fd, &system) != 0) return errno;
  struct stat status {};
  if (fstat(fd, &status) != 0) return errno;
  if (system.f_type != TMPFS_MAGIC || !S_ISREG(status.st_mode)) return EPERM;
  if (status.st_uid != geteuid() || (status.st_mode & (S_IRWXG | S_IRWXO)) != 0) return EACCES;
  return status.st_blocks * 512 < status.st_size ? ENOSPC : 0;
}

int MakeFile(const std::string& label) noexcept {
  const int fd = memfd_create(label.c_str(), MFD_CLOEXEC | MFD_ALLOW_SEALING | MFD_NOEXEC_SEAL);
  if (fd >= 0 || errno != EINVAL) return fd;
  return memfd_create(label.c_str(), MFD_CLOEXEC | MFD_ALLOW_SEALING);  // before Linux 6.3
}

// Memory available to programs, in bytes. Larger requests would not fail, but invoke the out-of-memory
// killer.
std::uint64_t AvailableMemory() noexcept {
  std::uint64_t kib = 0;
  std::FILE* const info = std::fopen("/proc/meminfo", "re");
  if (info == nullptr) return 0;
  char line[128];
  while (kib == 0 && std::fgets(line, sizeof line, info) != nullptr) {
    if (std::strncmp(line, "MemAvailable:", 13) == 0) kib = std::strtoull(line + 13, nullptr, 10);
  }
  std::fclose(info);
  return kib * 1024;
}

int Allocate(int fd, std::uint64_t bytes) noexcept {
  if (bytes > AvailableMemory() / 2) return ENOMEM;
  if (fchmod(fd, S_IRUSR | S_IWUSR) != 0) return errno;
  int error = 0;
  do {
    error = posix_fallocate(fd, 0, static_cast<off_t>(bytes));
  } while (error == EINTR);
  if (error != 0) return error;
  return fcntl(fd, F_ADD_SEALS, kSeals) == 0 ? 0 : errno;
}

}  // namespace

std::string OwnName(const std::string& name) {
  return std::to_string(getpid()) + ":" + name;
}

int TSharedObject::Make(const std::string& name, std::uint64_t bytes) {
  Close();
  const std::string link = LinkText(name);
  if (link.empty()) return ENAMETOOLONG;
  const int there = Find("self", link);
  if (there >= 0) {
    close(there);
    return EEXIST;
  }
  fd_ = MakeFile(std::string(kPrefix).append(WithoutNameSpace(name)));
  if (fd_ < 0) return errno;
  const int error = Allocate(fd_, bytes);
  if (error != 0) Close();
  return error;
}

int TSharedObject::Join(const std::string& name) {
  Close();
  const std::string link = LinkText(name);
  if (link.empty()) return ENAMETOOLONG;
  const std::string_view plain = WithoutNameSpace(name);
  const std::size_t digits = plain.find_first_not_of("0123456789");
  if (digits == 0 || digits == std::string_view::npos || plain[digits] != ':') return ENOENT;
  fd_ = Find(std::string(plain.substr(0, digits)), link);
  if (fd_ < 0) return errno;
  const int error = Check(fd_);
  if (error != 0) Close();
  return error;
}

int TSharedObject::Map(std::uint64_t bytes) noexcept {
  struct stat status {};
  if (fstat(fd_, &status) != 0) return errno;
  const auto there = static_cast<std::uint64_t>(status.st_size);
  if (bytes == 0) bytes = there;
  if (bytes == 0 || bytes > there) return EINVAL;
  void* const view = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED, fd_, 0);
  if (view == MAP_FAILED) return errno;
  view_ = view;
  viewBytes_ = bytes;
  return 0;
}

void TSharedObject::HideName() noexcept {
  if (fd_ >= 0) close(fd_);
  fd_ = -1;
}

void TSharedObject::Close() noexcept {
  HideName();
  if (view_ != nullptr) munmap(view_, viewBytes_);
  view_ = nullptr;
  viewBytes_ = 0;
}

}  // namespace Dova::Os
