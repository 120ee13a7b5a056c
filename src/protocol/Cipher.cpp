#include "protocol/Cipher.h"

#include <utility>

#include "protocol/XorBytes.h"

namespace VekApi {
namespace {

constexpr std::size_t kPadBytes = 1024;  // shorter ones are slower, longer ones are not faster

}  // namespace

TCipher::TCipher(EVekEndian endian, int mode, const std::string& key) : endian_(endian), mode_(mode) {
  if (key.empty()) return;
  const std::size_t times = (kPadBytes + key.size() - 1) / key.size();
  std::string pad;
  pad.reserve(times * key.size());
  for (std::size_t i = 0; i < times; ++i) pad += key;
  pad_ = std::make_shared<const std::string>(std::move(pad));
}

TCipher TCipher::WithoutKey() const noexcept {
  TCipher without;
  without.endian_ = endian_;
  without.mode_ = mode_;
  return without;
}

void TCipher::XorBody(char* body, std::size_t length) const {
  for (; length > pad_->size(); length -= pad_->size(), body += pad_->size()) {
    XorBytes(body, pad_->data(), pad_->size());
  }
  XorBytes(body, pad_->data(), length);
}

}  // namespace VekApi
