#include "vekapi/VekTaskResult.h"

#include <memory>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "result/KeptHeaders.h"
#include "result/ResultBody.h"
#include "result/ResultPacket.h"
#include "result/ResultReader.h"
#include "result/ResultText.h"

namespace VekApi {
namespace {

const std::string kNothing;

// Positions in texts and record counts must fit 32 bits.
constexpr std::size_t kMostBytes = 0xF0000000;

}  // namespace

class VekTaskResult::TImpl {
 public:
  TImpl() = default;
  // Memory kept for the next result is not copied.
  TImpl(const TImpl& other) : body_(other.body_) {}
  TImpl& operator=(const TImpl&) = delete;

  // Null if there is no content.
  const TResultBody* Body() const { return body_.Get(); }

  bool Read(std::string_view packet, EVekEndian endian, TWork& work) {
    Clear();
    if (!body_) body_ = TBodyRef<TResultBody>(new TResultBody);
    const TResultPacket read = ReadResultPacket(packet, endian, work);
    body_->workId = read.workId;
    if (read.text.size() > kMostBytes) throw std::length_error("string too long");
    std::string_view text = read.text;
    if (read.isUtf8) {
      if (!ConvertText(text, body_->MakeText(), work)) return false;
      text = body_->Text();
    }
    return TResultReader(text, *body_, kept_, work).Read();
  }

  // A body shared with copies is left to them.
  void Clear() {
    if (!body_.IsOnlyOne()) {
      kept_.Forget();
      body_ = {};
      return;
    }
    kept_.TakeBack(*body_);
    body_->Clear();
  }

  void GiveBack() {
    Clear();
    if (body_) body_->GiveBack();
  }

 private:
  TBodyRef<TResultBody> body_;
  TKeptHeaders kept_;
};

VekTaskResult::VekTaskResult() = default;

VekTaskResult::VekTaskResult(const VekTaskResult& other)
    : impl_(other.impl_ ? new TImpl(*other.impl_) : nullptr) {}

VekTaskResult& VekTaskResult::operator=(const VekTaskResult& other) {
  if (this != &other) *this = VekTaskResult(other);
  return *this;
}

VekTaskResult::VekTaskResult(VekTaskResult&& other) noexcept : impl_(std::exchange(other.impl_, nullptr)) {}

VekTaskResult& VekTaskResult::operator=(VekTaskResult&& other) noexcept {
  VekTaskResult taken(std::move(other));
  std::swap(impl_, taken.impl_);
  return *this;
}

VekTaskResult::~VekTaskResult() {
  delete impl_;
}

void VekTaskResult::Parse(const char* packet, unsigned length, EVekEndian endian) {
  Parse(packet, length, endian, TWork::kNever);
}

bool VekTaskResult::Parse(const char* packet, unsigned length, EVekEndian endian,
                          const std::atomic<bool>& over) {
  if (!impl_) impl_ = new TImpl;
  TWork work(over);
  try {
    if (impl_->Read(std::string_view(packet, length), endian, work)) return true;
  } catch (...) {
    impl_->Clear();
    throw;
  }
  impl_->Clear();
  return false;
}

void VekTaskResult::Clear() {
  if (impl_) impl_->Clear();
}

void VekTaskResult::ReleaseMemory() {
  if (impl_) impl_->GiveBack();
}

const std::string& VekTaskResult::WorkID() const {
  return impl_ && impl_->Body() ? impl_->Body()->workId : kNothing;
}

const std::string& VekTaskResult::OrigResult() const {
  return impl_ && impl_->Body() ? impl_->Body()->Text() : kNothing;
}

unsigned VekTaskResult::TableCount() const {
  return impl_ && impl_->Body() ? static_cast<unsigned>(impl_->Body()->tables.Size()) : 0;
}

const VekTable* VekTaskResult::Table(unsigned index) const {
  return index < TableCount() ? &impl_->Body()->Table(index) : nullptr;
}

const VekTable* VekTaskResult::Table(const std::string& name) const {
  TWork work;
  return TableCount() > 0 ? Table(impl_->Body()->Find(name, work)) : nullptr;
}

}  // namespace VekApi
