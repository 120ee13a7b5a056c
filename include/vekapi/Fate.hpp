// Fates and failures of sessions, for Session.hpp.
#ifndef VEKAPI_FATE_HPP
#define VEKAPI_FATE_HPP

#include <cstdint>
#include <stdexcept>
#include <string>

#include "vekapi/Result.hpp"
#include "vekapi/VekSessionC.h"

namespace VekApi {

// Failure of a function of VekSession.
class VekError : public std::runtime_error {
 public:
  // The text is that of CVekApi_Text.
  explicit VekError(std::int32_t reason)
      : std::runtime_error(CVekApi_Text(vst_Reason, reason, 0)), reason_(reason) {}
  std::int32_t Reason() const { return reason_; }  // vsr_...

 private:
  std::int32_t reason_;
};

// Thrown instead of waiting inside a callback of the session, which would deadlock.
class VekInCallback : public std::logic_error {
 public:
  VekInCallback() : std::logic_error("waiting inside a callback of the session") {}
};

// The fate of a request. Its texts are empty if there was no memory for them.
struct VekFate {
  std::int32_t fate = vsf_None;  // vsf_...
  std::int32_t reason = 0;       // vsr_..., 0: none
  std::int32_t waitMs = 0;       // vsf_Refused with vsr_TooFast: try again after this time; -1: unknown
  std::uint32_t link = 0;        // number of the link it was for
  std::uint64_t ticket = 0;      // 0: refused
  std::string workId;            // given or generated
  std::string text;              // the server's bytes: result, acknowledgement
  std::string detail;            // the system's text, or the server's reason
  VekResult result;              // vsf_Answered: parsed; otherwise empty

  // True if the server never received it.
  bool SafeToRepeat() const { return fate == vsf_Refused || fate == vsf_NeverSent; }
  // True if its answer has arrived.
  bool IsAnswered() const { return fate == vsf_Answered || fate == vsf_Acknowledged; }
  // The fate in words; `language` is 0 for English, 1 for Traditional Chinese.
  const char* FateText(int language = 0) const { return CVekApi_Text(vst_Fate, fate, language); }
  // The reason in words; `language` as for FateText.
  const char* ReasonText(int language = 0) const { return CVekApi_Text(vst_Reason, reason, language); }
};

}  // namespace VekApi

#endif  // VEKAPI_FATE_HPP
