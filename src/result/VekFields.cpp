#include "vekapi/VekFields.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "result/KeyedHash.h"
#include "result/NameTable.h"
#include "result/TextMarks.h"

namespace VekApi {

class VekFields::TImpl {
 public:
  // `text` has no NUL.
  explicit TImpl(std::string_view text) {
    names_.Reset(TNameTable::MostNames(text.size()));
    columns_.reserve(std::min<std::size_t>(text.size() / 4 + 1, 64));  // enough for a well-behaved server
    for (std::size_t end = 0; end != text.npos; text.remove_prefix(end + 1)) {
      end = text.find(kValueEnd);
      Add(text.substr(0, end));
      if (end == text.npos) return;
    }
  }

  const VekField* Find(std::string_view name) const {
    const std::uint32_t found = names_.Find(HashOf(name), TIsNamed{columns_, name});
    return found == kNone ? nullptr : &columns_[found];
  }

  const std::vector<VekField>& Columns() const { return columns_; }
  const std::string& NameText() const { return nameText_; }

 private:
  struct TIsNamed {
    const std::vector<VekField>& columns;
    std::string_view name;
    bool operator()(std::uint32_t index) const { return columns[index].Properties().Name() == name; }
  };

  static std::uint64_t HashOf(std::string_view name) {
    TWork work;
    return KeyedHash(name, work);
  }

  void Add(std::string_view text) {
    const auto index = static_cast<std::uint32_t>(columns_.size());
    VekProperties& properties = columns_.emplace_back(static_cast<int>(index), VekProperties()).Properties();
    properties.Read(text);
    const std::string& name = properties.Name();
    std::uint32_t& slot = names_.Slot(HashOf(name), TIsNamed{columns_, name});
    if (slot != kNone) return columns_.pop_back();
    slot = index;
    nameText_.append(name).push_back('\0');
  }

  // The application has read-only access to the columns, so names do not change.
  std::vector<VekField> columns_;
  TNameTable names_;
  std::string nameText_;
};

VekFields::VekFields() = default;

VekFields::VekFields(const VekFields& other) : impl_(other.impl_ ? new TImpl(*other.impl_) : nullptr) {}

VekFields& VekFields::operator=(const VekFields& other) {
  if (this != &other) *this = VekFields(other);
  return *this;
}

VekFields::VekFields(VekFields&& other) noexcept : impl_(std::exchange(other.impl_, nullptr)) {}

VekFields& VekFields::operator=(VekFields&& other) noexcept {
  const std::unique_ptr<TImpl> old(std::exchange(impl_, nullptr));
  impl_ = std::exchange(other.impl_, nullptr);
  return *this;
}

VekFields::~VekFields() {
  delete impl_;
}

void VekFields::Clear() {
  delete std::exchange(impl_, nullptr);
}

void VekFields::SetFields(const std::string& text) {
  std::unique_ptr<TImpl> columns = std::make_unique<TImpl>(text.c_str());
  delete std::exchange(impl_, columns.release());
}

int VekFields::Count() const {
  return impl_ ? static_cast<int>(impl_->Columns().size()) : 0;
}

std::string_view VekFields::Names() const {
  return impl_ ? impl_->NameText() : std::string_view();
}

const VekField* VekFields::Field(int index) const {
  return index >= 0 && index < Count() ? &impl_->Columns()[static_cast<std::size_t>(index)] : nullptr;
}

const VekField* VekFields::Field(const std::string& name) const {
  return impl_ ? impl_->Find(name) : nullptr;
}

}  // namespace VekApi
