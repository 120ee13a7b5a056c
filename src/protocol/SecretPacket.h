#pragma once

#include <string>
#include <utility>

#include "platform/runtime/Wipe.h"
#include "protocol/Packet.h"

namespace VekApi {

// A packet containing passwords; wiped on destruction.
class TSecretPacket {
 public:
  // Empty if the length exceeds the limit for a packet.
  TSecretPacket(int msgCode, std::size_t length) {
    if (length > kMaxBuilt) return;
    bytes_.resize(length);
    PutHead(bytes_.data(), msgCode, static_cast<int>(length));
  }
  ~TSecretPacket() { Dova::WipeText(bytes_); }
  TSecretPacket(TSecretPacket&& other) noexcept : bytes_(std::move(other.bytes_)) {
    Dova::WipeText(other.bytes_);  // moving a short text copies its bytes
  }
  TSecretPacket(const TSecretPacket&) = delete;
  TSecretPacket& operator=(const TSecretPacket&) = delete;

  explicit operator bool() const { return !bytes_.empty(); }
  char* Data() { return bytes_.data(); }
  int Length() const { return static_cast<int>(bytes_.size()); }

  void SetSubcode(EPkSessionSubcode subcode) { bytes_[kHeadBytes] = static_cast<char>(subcode); }
  // The format has one length byte: the length of longer texts wraps.
  void SetLength(std::size_t at, const std::string& text) {
    bytes_[at] = static_cast<char>(text.size() & 0xFF);
  }
  void Put(std::size_t at, const std::string& text) { bytes_.replace(at, text.size(), text); }

 private:
  std::string bytes_;
};

}  // namespace VekApi
