#include "vekapi/VekTaskResult.h"

#include <memory>
#include <utility>

#include "platform/os/CodePage.h"
#include "result/ResultPacket.h"
#include "result/ResultReader.h"

namespace VekApi {
namespace {

// Memory of earlier contents is given back when kIdleParses packets in a row were smaller than a part of it,
// so that one giant result does not hold its memory for the rest of a session of everyday ones.
constexpr std::size_t kKeptAnyway = 64 * 1024;
constexpr std::size_t kIdlePart = 16;
constexpr unsigned kIdleParses = 8;

}  // namespace

VekTaskResult::VekTaskResult() = default;

VekTaskResult::VekTaskResult(const VekTaskResult& other)
    : origResult_(other.origResult_), workId_(other.workId_) {
  if (!other.impl_) return;
  auto impl = std::make_unique<TImpl>();
  for (const VekTable& table : other.impl_->Tables()) impl->Append(VekTable(table));
  impl_ = impl.release();
}

VekTaskResult& VekTaskResult::operator=(const VekTaskResult& other) {
  if (this != &other) *this = VekTaskResult(other);
  return *this;
}

VekTaskResult::VekTaskResult(VekTaskResult&& other) noexcept
    : origResult_(std::move(other.origResult_)),
      workId_(std::move(other.workId_)),
      impl_(std::exchange(other.impl_, nullptr)) {
  other.origResult_.clear();
  other.workId_.clear();
}

VekTaskResult& VekTaskResult::operator=(VekTaskResult&& other) noexcept {
  VekTaskResult taken(std::move(other));
  origResult_.swap(taken.origResult_);
  workId_.swap(taken.workId_);
  std::swap(impl_, taken.impl_);
  return *this;
}

VekTaskResult::~VekTaskResult() {
  delete impl_;
}

void VekTaskResult::Parse(const char* packet, unsigned length, EVekEndian endian) {
  Clear(length);
  const TResultPacket read = ReadResultPacket(std::string_view(packet, length), endian);
  workId_ = read.workId;
  if (!read.isUtf8) {
    origResult_ = read.text;
  } else if (!Dova::Os::Utf8ToCodePage950(read.text, origResult_)) {
    // A conversion that fails leaves the room that was made for it, which reads as no tables.
    origResult_.assign(read.text.size() * 2, '\0');
  }
  if (origResult_.empty()) return;
  if (!impl_) impl_ = new TImpl;
  TReader(*this).Read();
}

void VekTaskResult::Clear(std::size_t nextBytes) {
  origResult_.clear();
  workId_.clear();
  if (!impl_) return;
  impl_->Clear();
  const std::size_t kept = impl_->KeptBytes() + origResult_.capacity();
  const bool idle = kept > kKeptAnyway && nextBytes < kept / kIdlePart;
  impl_->idleParses = idle ? impl_->idleParses + 1 : 0;
  if (impl_->idleParses < kIdleParses) return;
  delete std::exchange(impl_, nullptr);
  std::string().swap(origResult_);
}

// The table that a header text names: properties of a table that is there already are dropped.
VekTable& VekTaskResult::AddTable(std::string_view text) {
  VekTable table{VekProperties()};
  table.properties_.Read(text);
  const std::size_t found = impl_->Find(table.properties_.Name());
  return found == TNameIndex::kNone ? impl_->Append(std::move(table)) : impl_->Table(found);
}

const std::string& VekTaskResult::WorkID() const {
  return workId_;
}

const std::string& VekTaskResult::OrigResult() const {
  return origResult_;
}

unsigned VekTaskResult::TableCount() const {
  return impl_ ? static_cast<unsigned>(impl_->Tables().size()) : 0;
}

const VekTable* VekTaskResult::Table(unsigned index) const {
  return index < TableCount() ? &impl_->Tables()[index] : nullptr;
}

const VekTable* VekTaskResult::Table(const std::string& name) const {
  const std::size_t found = impl_ ? impl_->Find(name) : TNameIndex::kNone;
  return found == TNameIndex::kNone ? nullptr : &impl_->Tables()[found];
}

}  // namespace VekApi
