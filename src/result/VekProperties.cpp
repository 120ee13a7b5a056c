#include "vekapi/VekProperties.h"

#include <utility>

#include "result/TextMarks.h"

namespace VekApi {

VekProperties::VekProperties() = default;
VekProperties::VekProperties(const VekProperties& other) = default;
VekProperties::~VekProperties() = default;

VekProperties::VekProperties(const std::string& text) {
  SetProperties(text);
}

VekProperties::VekProperties(VekProperties&& other) noexcept
    : name_(std::move(other.name_)), pairText_(std::move(other.pairText_)), pairs_(std::move(other.pairs_)) {
  other.name_.clear();
  other.pairText_.clear();
  other.pairs_.clear();
}

VekProperties& VekProperties::operator=(const VekProperties& other) {
  if (this != &other) *this = VekProperties(other);
  return *this;
}

VekProperties& VekProperties::operator=(VekProperties&& other) noexcept {
  VekProperties taken(std::move(other));
  name_.swap(taken.name_);
  pairText_.swap(taken.pairText_);
  pairs_.swap(taken.pairs_);
  return *this;
}

void VekProperties::SetProperties(const std::string& text) {
  if (&text == &name_ || &text == &pairText_) return SetProperties(std::string(text));
  Read(text.c_str());
}

// `text` has no NUL.
void VekProperties::Read(std::string_view text) {
  const std::size_t nameEnd = text.find(kPartEnd);
  name_ = text.substr(0, nameEnd);
  if (nameEnd == text.npos) return;
  text.remove_prefix(nameEnd + 1);
  for (;;) {
    const std::size_t keyEnd = text.find('=');
    if (keyEnd == text.npos) return;
    const std::size_t valueEnd = text.find(kPartEnd, keyEnd + 1);
    AddPair(text.substr(0, keyEnd), text.substr(keyEnd + 1, valueEnd - keyEnd - 1));
    if (valueEnd == text.npos) return;
    text.remove_prefix(valueEnd + 1);
  }
}

bool VekProperties::Add(const std::string& key, const std::string& value) {
  return AddPair(key, value);
}

bool VekProperties::AddPair(std::string_view key, std::string_view value) {
  const auto place = pairs_.lower_bound(key);
  if (place != pairs_.end() && place->first == key) return false;
  // The text is extended from the map: `key` and `value` may be parts of the text. If there is no memory for
  // it, the pair goes again.
  const auto added = pairs_.emplace_hint(place, key, value);
  const std::size_t before = pairText_.size();
  try {
    (((pairText_ += kPairMark) += added->first) += '=') += added->second;
  } catch (...) {
    pairText_.resize(before);
    pairs_.erase(added);
    throw;
  }
  return true;
}

const std::string* VekProperties::Get(const std::string& key) const {
  const auto found = pairs_.find(key);
  return found == pairs_.end() ? nullptr : &found->second;
}

void VekProperties::Name(const std::string& name) {
  name_ = name;
}

const std::string& VekProperties::Name() const {
  return name_;
}

const std::string& VekProperties::GetOr(std::string_view key, const std::string& otherwise) const {
  const auto found = pairs_.find(key);
  return found == pairs_.end() ? otherwise : found->second;
}

const std::string& VekProperties::DisplayText() const {
  return GetOr("DisplayText", name_);
}

const std::string& VekProperties::Description() const {
  return GetOr("Description", DisplayText());
}

std::string VekProperties::ToString() const {
  std::string text;
  text.reserve(name_.size() + pairText_.size());
  text += name_;
  text += pairText_;
  return text;
}

const std::string& VekProperties::ToDispString() const {
  return pairText_;
}

}  // namespace VekApi
