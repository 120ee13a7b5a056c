#include "protocol/XorBytes.h"

#include <cstdint>
#include <cstring>

#include <immintrin.h>

#include "platform/os/Processor.h"

namespace VekApi {
namespace {

void XorTail(char* bytes, const char* pad, std::size_t count) {
  for (; count >= sizeof(std::uint64_t); count -= sizeof(std::uint64_t)) {
    std::uint64_t value;
    std::uint64_t key;
    std::memcpy(&value, bytes, sizeof value);
    std::memcpy(&key, pad, sizeof key);
    value ^= key;
    std::memcpy(bytes, &value, sizeof value);
    bytes += sizeof value;
    pad += sizeof value;
  }
  for (std::size_t i = 0; i < count; ++i) bytes[i] = static_cast<char>(bytes[i] ^ pad[i]);
}

void Xor16(char* bytes, const char* pad) {
  auto* at = reinterpret_cast<__m128i*>(bytes);
  const auto* key = reinterpret_cast<const __m128i*>(pad);
  _mm_storeu_si128(at, _mm_xor_si128(_mm_loadu_si128(at), _mm_loadu_si128(key)));
}

void XorSse2(char* bytes, const char* pad, std::size_t count) {
  std::size_t i = 0;
  for (; i + 64 <= count; i += 64) {
    Xor16(bytes + i, pad + i);
    Xor16(bytes + i + 16, pad + i + 16);
    Xor16(bytes + i + 32, pad + i + 32);
    Xor16(bytes + i + 48, pad + i + 48);
  }
  for (; i + 16 <= count; i += 16) Xor16(bytes + i, pad + i);
  XorTail(bytes + i, pad + i, count - i);
}

VEKAPI_TARGET_AVX2 void XorAvx2(char* bytes, const char* pad, std::size_t count) {
  std::size_t i = 0;
  for (; i + 128 <= count; i += 128) {
    auto* at = reinterpret_cast<__m256i*>(bytes + i);
    const auto* key = reinterpret_cast<const __m256i*>(pad + i);
    for (int step = 0; step < 4; ++step) {
      _mm256_storeu_si256(at + step,
                          _mm256_xor_si256(_mm256_loadu_si256(at + step), _mm256_loadu_si256(key + step)));
    }
  }
  for (; i + 32 <= count; i += 32) {
    auto* at = reinterpret_cast<__m256i*>(bytes + i);
    const auto* key = reinterpret_cast<const __m256i*>(pad + i);
    _mm256_storeu_si256(at, _mm256_xor_si256(_mm256_loadu_si256(at), _mm256_loadu_si256(key)));
  }
  _mm256_zeroupper();
  XorTail(bytes + i, pad + i, count - i);
}

}  // namespace

void XorBytes(char* bytes, const char* pad, std::size_t count) noexcept {
  static const bool avx2 = Dova::Os::HasAvx2();
  if (avx2 && count >= 32) {
    XorAvx2(bytes, pad, count);
  } else {
    XorSse2(bytes, pad, count);
  }
}

}  // namespace VekApi
