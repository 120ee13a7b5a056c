#include "platform/os/NamedMapping.h"

#include <cerrno>

#include "platform/os/posix/SharedObject.h"

namespace Dova::Os {

struct TNamedMapping::TNative {
  TSharedObject object;
  bool made = false;
};

TNamedMapping::TNamedMapping() = default;
TNamedMapping::~TNamedMapping() = default;
TNamedMapping::TNamedMapping(TNamedMapping&& other) noexcept = default;
TNamedMapping& TNamedMapping::operator=(TNamedMapping&& other) noexcept = default;

bool TNamedMapping::Open(const std::string& name, std::uint64_t bytes, EOpen how) {
  Close();
  auto native = std::make_unique<TNative>();
  native->made = how == EOpen::Make;
  error_ = native->made ? native->object.Make(name, bytes) : native->object.Join(name);
  if (error_ == 0) native_ = std::move(native);
  return error_ == 0;
}

// A joiner needs only the memory, so its descriptor is closed.
bool TNamedMapping::MapView(std::uint64_t bytes) {
  error_ = native_->object.Map(bytes);
  if (error_ == 0 && !native_->made) native_->object.HideName();
  return error_ == 0;
}

void TNamedMapping::HideName() noexcept {
  if (native_) native_->object.HideName();
}

void TNamedMapping::Close() noexcept {
  native_.reset();
}

bool TNamedMapping::IsMissing() const noexcept {
  return error_ == ENOENT;
}

TError TNamedMapping::BadSizeError() noexcept {
  return {nullptr, EINVAL};
}

std::byte* TNamedMapping::View() const noexcept {
  return native_ ? static_cast<std::byte*>(native_->object.View()) : nullptr;
}

std::uint64_t TNamedMapping::Size() const noexcept {
  return native_ ? native_->object.ViewBytes() : 0;
}

}  // namespace Dova::Os
