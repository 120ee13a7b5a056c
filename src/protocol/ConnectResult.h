// Connect result (code 0, never scrambled): byte 3 outcome, 4-7 byte-order answer, 8-15 server version (four
// numbers), 16 length of the server name, 18-19 length of the item area; the name and the items follow from
// byte 20. Item: byte 0 length of its tag, 1-2 of its data, then tag and data. Tags: "ERROR\n", the reason of
// a refusal; "VekEnc\n", scrambling: mode, key length, key. Numbers are in the server's byte order.
#pragma once

#include <optional>
#include <string>

#include "protocol/Cipher.h"

namespace VekApi {

struct TConnectResult {
  std::string serverName;  // with its version, such as "GW.2.0.1.15"
  TCipher cipher;
  std::optional<std::string> refusal;
  int mode = 0;
  std::string key;
};

// Empty if the packet is shorter than its fixed part.
std::optional<TConnectResult> ReadConnectResult(const char* packet, int length);

}  // namespace VekApi
