#pragma once

#include <string>
#include <string_view>

#include "protocol/Recording.h"

namespace VekApi {

// One packet's fields in readable form, on one line of UTF-8: "sign-on request: identity A/B, password
// ********". The packet must be descrambled and its passwords masked. Long texts are cut. Throws
// std::bad_alloc.
std::string WordsOfPacket(std::string_view packet, bool fromServer, ERecordOrder order);

}  // namespace VekApi
