// Sign-on, both directions: packets of code 2.
//
// Request: byte 3 subcode 0, 4 length of the identity, 5-6 zero, 7 length of the password, 8-11 zero; from 12
// the two texts.
//
// Reply: byte 3 subcode 2, 4 length of a lead text, 5-6 length of the message, 7-10 reply number; from 11 the
// two texts. Numbers are in the server's byte order.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "protocol/SecretPacket.h"

namespace VekApi {

// Empty if the texts are too long.
TSecretPacket MakeSignOnRequest(const std::string& identity, const std::string& password);

// The identity in a request; empty if the packet is too short.
std::string_view ReadSignOnIdentity(const char* packet, int length);

struct TSignOnReply {
  std::uint32_t number;  // 0: refused; otherwise the sign-on result follows
  std::string_view message;
};

// Empty if the packet is too short.
std::optional<TSignOnReply> ReadSignOnReply(const char* packet, int length, EVekEndian endian);

}  // namespace VekApi
