#pragma once

#include <string>
#include <string_view>

#include "keeper/ServerTexts.h"
#include "protocol/Recording.h"

namespace VekApi {

class TPacketWords {
 public:
  // One packet's fields in readable form, on one line of UTF-8: "sign-on request: identity A/B, password
  // ********". The packet must be descrambled and its passwords masked. Long texts are cut. The packets of
  // the server must come in their order, on one thread at a time. Throws std::bad_alloc.
  std::string Of(std::string_view packet, bool fromServer, ERecordOrder order);

 private:
  TServerTexts texts_;
};

}  // namespace VekApi
