#include "platform/os/NamedMapping.h"

#include <sys/mman.h>

#include <cerrno>

#include "platform/os/posix/SharedObject.h"

namespace Dova::Os {

struct TNamedMapping::TNative {
  TSharedObject object;
  // Stands in for an object that nobody has made: nothing is left behind by those who look for it.
  void* ownView = nullptr;
  std::uint64_t ownBytes = 0;

  TNative() = default;
  ~TNative() {
    if (ownView != nullptr) munmap(ownView, ownBytes);
  }
  TNative(const TNative&) = delete;
  TNative& operator=(const TNative&) = delete;

  bool MakeOwn(std::uint64_t bytes) {
    void* const view =
        mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (view == MAP_FAILED) return false;
    ownView = view;
    ownBytes = bytes;
    return true;
  }
};

TNamedMapping::TNamedMapping() = default;
TNamedMapping::~TNamedMapping() = default;
TNamedMapping::TNamedMapping(TNamedMapping&& other) noexcept = default;
TNamedMapping& TNamedMapping::operator=(TNamedMapping&& other) noexcept = default;

bool TNamedMapping::Open(const std::string& name, std::uint64_t bytes, EOpen how, bool /*forEveryone*/) {
  Close();
  native_ = std::make_unique<TNative>();
  error_ = native_->object.Open(name, bytes, how == EOpen::Make);
  if (error_ == ENOENT && how == EOpen::Join) error_ = native_->MakeOwn(bytes) ? 0 : errno;
  if (error_ != 0) Close();
  return error_ == 0;
}

bool TNamedMapping::MapView(std::uint64_t bytes) {
  if (native_->ownView != nullptr) {
    error_ = bytes <= native_->ownBytes ? 0 : EINVAL;
  } else {
    error_ = native_->object.Map(bytes) != nullptr ? 0 : errno;
  }
  return error_ == 0;
}

void TNamedMapping::Close() noexcept {
  native_.reset();
}

void TNamedMapping::RemoveAbandoned() {
  TSharedObject::RemoveAbandoned();
}

std::byte* TNamedMapping::View() const noexcept {
  if (!native_) return nullptr;
  return static_cast<std::byte*>(native_->ownView != nullptr ? native_->ownView : native_->object.View());
}

std::uint64_t TNamedMapping::Size() const noexcept {
  if (!native_) return 0;
  return native_->ownView != nullptr ? native_->ownBytes : native_->object.ViewBytes();
}

}  // namespace Dova::Os
