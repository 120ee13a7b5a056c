// Password change, both directions: packets of code 2, subcode 1.
//
// Request: bytes 4 to 6 lengths of user, old and new password; from 7 the texts.
// Result: bytes 4 and 5 lengths of user and message; from 6 the texts.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "protocol/SecretPacket.h"

namespace VekApi {

// Empty if the texts are too long.
TSecretPacket MakeChgPassRequest(const std::string& user, const std::string& oldPass,
                                 const std::string& newPass);

// The user in a request; empty if the packet is too short.
std::string_view ReadChgPassUser(const char* packet, int length);

struct TChgPassResult {
  std::string_view user;
  std::string_view message;
};

// Empty if the packet is too short.
std::optional<TChgPassResult> ReadChgPassResult(const char* packet, int length, EVekEndian endian);

}  // namespace VekApi
