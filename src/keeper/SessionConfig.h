#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "vekapi/VekSessionC.h"

namespace VekApi {

inline constexpr std::size_t kMostPassword = 255;  // bytes

class TSession;

// What a session is told when it is made, with texts of its own.
struct TSessionConfig : CVekSessionConfig {
  std::string name, version, firstId, secondId, prefix, probeQuery;
  // Calls the application, and lets nothing be thrown.
  void (*tell)(TSession& session, const TSessionConfig& config, const CVekEvent& event) = nullptr;
};

// The values of CVekSession_Defaults.
CVekSessionConfig DefaultConfig();

// 0, or vsr_BadArgument.
int CheckConfig(const CVekSessionConfig& config);

// With its texts copied, those that are null as by default. Throws std::bad_alloc.
TSessionConfig OwnConfig(const CVekSessionConfig& config);

}  // namespace VekApi
