#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "vekapi/VekSessionC.h"

namespace VekApi {

inline constexpr std::size_t kMostPassword = 255;  // bytes

class TSession;

// The configuration a session is created with. Owns its texts.
struct TSessionConfig : CVekSessionConfig {
  std::string name, version, firstId, secondId, prefix, probeQuery;
  // Calls the application. Catches everything the application throws.
  void (*tell)(TSession& session, const TSessionConfig& config, const CVekEvent& event) = nullptr;
};

// The values of CVekSession_Defaults.
CVekSessionConfig DefaultConfig();

// Returns 0 or vsr_BadArgument.
int CheckConfig(const CVekSessionConfig& config);

// Copies the texts; null texts get their defaults. Throws std::bad_alloc.
TSessionConfig OwnConfig(const CVekSessionConfig& config);

}  // namespace VekApi
