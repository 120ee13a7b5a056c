#include "platform/os/NamedMapping.h"

#include <windows.h>

#include "platform/os/win32/OpenAccess.h"

namespace Dova::Os {

struct TNamedMapping::TNative {
  HANDLE handle = nullptr;
  void* view = nullptr;
  std::uint64_t viewBytes = 0;

  TNative() = default;
  ~TNative() {
    Unmap();
    if (handle != nullptr) CloseHandle(handle);
  }
  TNative(const TNative&) = delete;
  TNative& operator=(const TNative&) = delete;

  void Unmap() noexcept {
    if (view != nullptr) UnmapViewOfFile(view);
    view = nullptr;
    viewBytes = 0;
  }
};

TNamedMapping::TNamedMapping() = default;
TNamedMapping::~TNamedMapping() = default;
TNamedMapping::TNamedMapping(TNamedMapping&& other) noexcept = default;
TNamedMapping& TNamedMapping::operator=(TNamedMapping&& other) noexcept = default;

std::string OwnName(const std::string& name) {
  return name;
}

// The system call both creates and opens, and reports afterwards which it did. The size is ignored if the
// mapping exists.
bool TNamedMapping::Open(const std::string& name, std::uint64_t bytes, EOpen how) {
  Close();
  auto native = std::make_unique<TNative>();
  TOpenAccess access(how == EOpen::Make);
  native->handle =
      CreateFileMappingA(INVALID_HANDLE_VALUE, access.Attributes(), PAGE_READWRITE,
                         static_cast<DWORD>(bytes >> 32), static_cast<DWORD>(bytes), name.c_str());
  const DWORD result = GetLastError();
  const bool existed = result == ERROR_ALREADY_EXISTS;
  if (native->handle == nullptr) {
    error_ = static_cast<int>(result);
  } else if (existed == (how == EOpen::Make)) {
    error_ = existed ? ERROR_ALREADY_EXISTS : ERROR_FILE_NOT_FOUND;
  } else {
    error_ = 0;
    native_ = std::move(native);
  }
  return error_ == 0;
}

bool TNamedMapping::MapView(std::uint64_t bytes) {
  native_->Unmap();
  error_ = 0;
  native_->view = MapViewOfFile(native_->handle, FILE_MAP_ALL_ACCESS, 0, 0, static_cast<SIZE_T>(bytes));
  MEMORY_BASIC_INFORMATION region{};
  if (native_->view == nullptr || VirtualQuery(native_->view, &region, sizeof region) == 0) {
    error_ = static_cast<int>(GetLastError());
  } else if (region.RegionSize < bytes) {
    error_ = ERROR_INVALID_PARAMETER;
  }
  if (error_ != 0) {
    native_->Unmap();
  } else {
    native_->viewBytes = bytes != 0 ? bytes : region.RegionSize;
  }
  return error_ == 0;
}

void TNamedMapping::Close() noexcept {
  native_.reset();
}

void TNamedMapping::HideName() noexcept {}

bool TNamedMapping::IsMissing() const noexcept {
  return error_ == ERROR_FILE_NOT_FOUND;
}

TError TNamedMapping::BadSizeError() noexcept {
  return {nullptr, ERROR_INVALID_PARAMETER};
}

std::byte* TNamedMapping::View() const noexcept {
  return native_ ? static_cast<std::byte*>(native_->view) : nullptr;
}

std::uint64_t TNamedMapping::Size() const noexcept {
  return native_ ? native_->viewBytes : 0;
}

}  // namespace Dova::Os
