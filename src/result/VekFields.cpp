#include "vekapi/VekFields.h"

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

#include "result/NameIndex.h"
#include "result/TextMarks.h"

namespace VekApi {
namespace {

// Room at once for the columns that an honest server may have put into a text of that length.
std::size_t LikelyColumns(std::size_t bytes) {
  return std::min<std::size_t>(bytes / 4 + 1, 64);
}

}  // namespace

class VekFields::TImpl {
 public:
  std::size_t Find(std::string_view name) const { return index_.Find(name, columns_); }

  // Adds an empty column, to be kept or dropped once its name is known.
  VekField& Open() {
    columns_.push_back(VekField(static_cast<int>(columns_.size()), VekProperties()));
    return columns_.back();
  }

  void Close() {
    if (Find(columns_.back().Properties().Name()) == TNameIndex::kNone)
      index_.Enter(columns_);
    else
      columns_.pop_back();
  }

  void Clear() {
    columns_.clear();
    index_.Clear();
  }

  void Reserve(std::size_t count) {
    columns_.reserve(count);
    index_.Reserve(count);
  }

  const std::vector<VekField>& Columns() const { return columns_; }

 private:
  // The application gets columns to read only, so none changes its name.
  std::vector<VekField> columns_;
  TNameIndex index_;
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
  if (impl_) impl_->Clear();
}

void VekFields::SetFields(const std::string& text) {
  Read(text.c_str());
}

// `text` has no NUL.
void VekFields::Read(std::string_view text) {
  if (!impl_) impl_ = new TImpl;
  impl_->Clear();
  impl_->Reserve(LikelyColumns(text.size()));
  for (std::size_t end = 0; end != text.npos; text.remove_prefix(end + 1)) {
    end = text.find(kValueEnd);
    impl_->Open().Properties().Read(text.substr(0, end));
    impl_->Close();
    if (end == text.npos) return;
  }
}

int VekFields::Count() const {
  return impl_ ? static_cast<int>(impl_->Columns().size()) : 0;
}

const VekField* VekFields::Field(int index) const {
  return index >= 0 && index < Count() ? &impl_->Columns()[static_cast<std::size_t>(index)] : nullptr;
}

const VekField* VekFields::Field(const std::string& name) const {
  const std::size_t found = impl_ ? impl_->Find(name) : TNameIndex::kNone;
  return found == TNameIndex::kNone ? nullptr : &impl_->Columns()[found];
}

}  // namespace VekApi
