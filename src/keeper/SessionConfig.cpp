#include "keeper/SessionConfig.h"

#include <algorithm>
#include <random>
#include <string_view>

#include "keeper/WorkIds.h"

namespace VekApi {
namespace {

constexpr std::uint32_t kLongestMs = 0x7FFFFFFF;
constexpr std::uint32_t kMostHeld = 10'000'000;
constexpr std::uint32_t kFewestEvents = 16;
constexpr std::size_t kLongestText = 255;

std::string TextOr(const char* text, const char* otherwise) {
  return text ? text : otherwise;
}

bool IsPrefix(std::string_view prefix) {
  return prefix.size() <= kMaxPrefix && std::all_of(prefix.begin(), prefix.end(), [](char c) {
           return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
         });
}

bool IsShort(const char* text) {
  return !text || std::string_view(text).size() <= kLongestText;
}

}  // namespace

CVekSessionConfig DefaultConfig() {
  CVekSessionConfig config{};
  config.size = sizeof config;
  config.apName = "VekSession";
  config.apVersion = "1.0.0.0";
  config.idSeparator = ' ';
  config.maxAttempts = UINT32_MAX;
  config.firstDelayMs = 250;
  config.maxDelayMs = 30'000;
  config.stableMs = 10'000;
  config.maxShortLinks = 5;
  config.connectMs = 20'000;
  config.signOnMs = 20'000;
  config.resyncMs = 60'000;
  config.answerMs = 10'000;
  config.silenceMs = 65'000;
  config.maxHeld = 100'000;
  config.maxEvents = 100'000;
  config.remember = 1000;
  return config;
}

int CheckConfig(const CVekSessionConfig& config) {
  constexpr std::uint32_t kFlags = vsc_RetryByHand | vsc_ResyncByHand | vsc_CloseOnTimeout;
  const bool numbers = (config.flags & ~kFlags) == 0 && config.delivery >= vsd_Threads &&
                       config.delivery <= vsd_Poll && config.ackRule >= vsa_InOrder &&
                       config.ackRule <= vsa_ByWorkId && config.maxHeld >= 1 && config.maxHeld <= kMostHeld &&
                       config.maxEvents >= kFewestEvents;
  const bool texts = IsShort(config.apName) && IsShort(config.id1) && IsShort(config.id2) &&
                     (!config.idPrefix || IsPrefix(config.idPrefix)) &&
                     (!config.probe || *config.probe != '\0');
  return numbers && texts ? 0 : vsr_BadArgument;
}

TSessionConfig OwnConfig(const CVekSessionConfig& config) {
  TSessionConfig own;
  static_cast<CVekSessionConfig&>(own) = config;
  own.name = TextOr(config.apName, "VekSession");
  own.version = TextOr(config.apVersion, "1.0.0.0");
  own.firstId = TextOr(config.id1, "");
  own.secondId = TextOr(config.id2, "");
  own.prefix = TextOr(config.idPrefix, "");
  own.probeQuery = TextOr(config.probe, "");
  for (std::uint32_t* ms :
       {&own.connectMs, &own.signOnMs, &own.resyncMs, &own.holdMs, &own.answerMs, &own.silenceMs}) {
    if (*ms > kLongestMs) *ms = 0;
  }
  own.firstDelayMs = std::min(own.firstDelayMs, kLongestMs);
  own.maxDelayMs = std::min(own.maxDelayMs, kLongestMs);
  std::random_device system;
  while (own.seed == 0) own.seed = std::uint64_t{system()} << 32 | system();
  return own;
}

}  // namespace VekApi
