#include <cstring>

#include "platform/os/AutomationString.h"
#include "protocol/Lookalike.h"
#include "protocol/TPacketParser.h"
#include "session/Texts.h"
#include "vekapi/VekApiC.h"

namespace {

constexpr struct {
  int reason;
  const char* text;
} kReasons[] = {
    {cvre_Disconnect, VekApi::kTextDisconnect},
    {cvre_HeartbeatTimeout, VekApi::kTextHeartbeatTimeout},
    {cvre_UnknownServer, VekApi::kTextUnknownServer},
    {cvre_BadPacketLength, VekApi::TPacketParser::kBadPacketLength},
    {cvre_LongMessage, VekApi::TPacketParser::kMessageTooLong},
    {cvre_BadSetting, VekApi::kTextBadSetting},
    {cvre_BadApName, VekApi::kTextBadApName},
    {cvre_SignOnTooLong, VekApi::kTextSignOnTooLong},
    {cvre_ChgPassTooLong, VekApi::kTextChgPassTooLong},
    {cvre_ConnectTimeout, VekApi::kTextConnectTimeout},
    {cvre_SignOnTimeout, VekApi::kTextSignOnTimeout},
    {cvre_NoMemory, VekApi::kTextNoMemory},
};

}  // namespace

int CVekApi_ReasonOf(const char* reason) {
  if (!reason) return cvre_Other;
  for (const auto& known : kReasons) {
    if (std::strcmp(reason, known.text) == 0) return known.reason;
  }
  for (int looks = static_cast<int>(VekApi::ELooks::Http); looks <= static_cast<int>(VekApi::ELooks::Text);
       ++looks) {
    if (VekApi::NotOursText(static_cast<VekApi::ELooks>(looks)) == reason) return cvre_BadPacketLength;
  }
  return cvre_Other;
}

const char* CVekApi_Version(void) {
  return VEKAPI_VERSION;
}

CVekBSTR CstrToBSTR(const char* text) {
  return text ? Dova::Os::NewAutomationString(text, std::strlen(text)) : nullptr;
}

void CVekApi_FreeBSTR(CVekBSTR text) {
  Dova::Os::FreeAutomationString(text);
}
