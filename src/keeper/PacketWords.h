#pragma once

#include <string>
#include <string_view>

#include "protocol/Recording.h"

namespace VekApi {

// One packet's fields, for people, in one line of UTF-8: "sign-on request: identity A/B, password ********".
// The packet is descrambled and its passwords are masked; texts longer than a screen's line are cut. Throws
// std::bad_alloc.
std::string WordsOfPacket(std::string_view packet, bool fromServer, ERecordOrder order);

}  // namespace VekApi
