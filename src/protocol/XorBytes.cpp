#include "protocol/XorBytes.h"

#include <cstdint>
#include <cstring>

#include <immintrin.h>

#include "platform/os/Processor.h"

namespace VekApi {
namespace {

const bool kAvx2 = Dova::Os::HasAvx2();  // false before it is initialised, which is only slower

std::uint64_t Xor8(const char* bytes, const char* pad) {
  std::uint64_t value;
  std::uint64_t key;
  std::memcpy(&value, bytes, sizeof value);
  std::memcpy(&key, pad, sizeof key);
  return value ^ key;
}

__m128i Xor16(const char* bytes, const char* pad) {
  return _mm_xor_si128(_mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes)),
                       _mm_loadu_si128(reinterpret_cast<const __m128i*>(pad)));
}

VEKAPI_TARGET_AVX2 __m256i Xor32(const char* bytes, const char* pad) {
  return _mm256_xor_si256(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(bytes)),
                          _mm256_loadu_si256(reinterpret_cast<const __m256i*>(pad)));
}

// Below: the last step of a whole word may overlap the one before it, so it is computed first and stored
// last.

void XorSmall(char* bytes, const char* pad, std::size_t count) {
  if (count < sizeof(std::uint64_t)) {
    for (std::size_t i = 0; i < count; ++i) bytes[i] = static_cast<char>(bytes[i] ^ pad[i]);
    return;
  }
  const std::size_t last = count - sizeof(std::uint64_t);
  const std::uint64_t end = Xor8(bytes + last, pad + last);
  const std::uint64_t begin = Xor8(bytes, pad);
  std::memcpy(bytes, &begin, sizeof begin);
  std::memcpy(bytes + last, &end, sizeof end);
}

void XorSse2(char* bytes, const char* pad, std::size_t count) {
  const std::size_t last = count - sizeof(__m128i);
  const __m128i end = Xor16(bytes + last, pad + last);
  for (std::size_t i = 0; i < last; i += sizeof(__m128i)) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(bytes + i), Xor16(bytes + i, pad + i));
  }
  _mm_storeu_si128(reinterpret_cast<__m128i*>(bytes + last), end);
}

VEKAPI_TARGET_AVX2 void Put32(char* bytes, const char* pad) {
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(bytes), Xor32(bytes, pad));
}

VEKAPI_TARGET_AVX2 void XorAvx2(char* bytes, const char* pad, std::size_t count) {
  const std::size_t last = count - sizeof(__m256i);
  const __m256i end = Xor32(bytes + last, pad + last);
  std::size_t i = 0;
  for (; i + 128 < count; i += 128) {
    Put32(bytes + i, pad + i);
    Put32(bytes + i + 32, pad + i + 32);
    Put32(bytes + i + 64, pad + i + 64);
    Put32(bytes + i + 96, pad + i + 96);
  }
  for (; i < last; i += sizeof(__m256i)) Put32(bytes + i, pad + i);
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(bytes + last), end);
}

}  // namespace

void XorBytes(char* bytes, const char* pad, std::size_t count) noexcept {
  if (count < sizeof(__m128i)) return XorSmall(bytes, pad, count);
  if (kAvx2 && count >= sizeof(__m256i)) return XorAvx2(bytes, pad, count);
  XorSse2(bytes, pad, count);
}

}  // namespace VekApi
