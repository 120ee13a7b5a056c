#pragma once

#include <string>
#include <string_view>

#include "protocol/Packet.h"
#include "vekapi/VekClientHandler.h"

namespace VekApi {

// A handler of the library's own. It takes acknowledgements and reports where they lie among the received
// bytes, once it is set (TImpl::SetTextHandler); an application's handler gets them as strings.
class TTextHandler : public VekClientHandler {
 public:
  // An acknowledgement, or a report (PkReport). A NUL follows the text, which is valid during the event.
  virtual void OnText(int msgCode, std::string_view text) = 0;

  void OnVekRequestAckEvent(VekClient&, int msgCode, const std::string& text) final { OnText(msgCode, text); }
  void OnVekReportEvent(VekClient&, const std::string& text) final { OnText(PkReport, text); }
};

}  // namespace VekApi
