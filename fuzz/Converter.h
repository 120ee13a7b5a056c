// The system's conversions of short texts, to compare with ours: of the C library, or of the Windows API.
#pragma once

#ifdef _WIN32
#include <windows.h>
#else
#include <iconv.h>
#endif

#include <cstddef>
#include <string>
#include <string_view>

#include "fuzz/Input.h"

namespace vekfuzz {

#ifdef _WIN32

class Converter {
 public:
  static constexpr UINT kCodes = 0, kUtf8 = CP_UTF8, kBig5 = 950;

  Converter(UINT to, UINT from) : to_(to), from_(from) {}

  // Empty if the text cannot be converted as a whole.
  std::string Convert(std::string_view text) const {
    wchar_t wide[8];
    const int units =
        MultiByteToWideChar(from_, MB_ERR_INVALID_CHARS, text.data(), static_cast<int>(text.size()), wide, 8);
    return to_ == kCodes ? Codes(wide, units) : Narrow(wide, units);
  }

 private:
  static std::string Codes(const wchar_t* wide, int units) {
    std::string bytes;
    for (int i = 0; i < units; ++i) {
      unsigned code = wide[i];
      if (IS_HIGH_SURROGATE(code)) code = 0x10000 + ((code - 0xD800) << 10) + (wide[++i] - 0xDC00U);
      for (int shift = 0; shift < 32; shift += 8) bytes += static_cast<char>(code >> shift);
    }
    return bytes;
  }

  std::string Narrow(const wchar_t* wide, int units) const {
    char out[16];
    BOOL replaced = FALSE;
    const int size = WideCharToMultiByte(to_, to_ == kUtf8 ? 0 : WC_NO_BEST_FIT_CHARS, wide, units, out,
                                         sizeof out, nullptr, to_ == kUtf8 ? nullptr : &replaced);
    return size > 0 && !replaced ? std::string(out, static_cast<std::size_t>(size)) : std::string();
  }

  const UINT to_, from_;
};

#else

class Converter {
 public:
  static constexpr const char *kCodes = "UTF-32LE", *kUtf8 = "UTF-8", *kBig5 = "BIG5";

  Converter(const char* to, const char* from) : descriptor_(iconv_open(to, from)) {
    Check(descriptor_ != reinterpret_cast<iconv_t>(-1), "the C library knows the encoding");
  }
  ~Converter() { iconv_close(descriptor_); }
  Converter(const Converter&) = delete;
  Converter& operator=(const Converter&) = delete;

  // Empty if the text cannot be converted as a whole.
  std::string Convert(std::string_view text) const {
    iconv(descriptor_, nullptr, nullptr, nullptr, nullptr);
    char out[16];
    char *from = const_cast<char*>(text.data()), *to = out;
    std::size_t left = text.size(), room = sizeof out;
    const bool whole = iconv(descriptor_, &from, &left, &to, &room) == 0 && left == 0;
    return whole ? std::string(out, sizeof out - room) : std::string();
  }

 private:
  const iconv_t descriptor_;
};

#endif

}  // namespace vekfuzz
