#include <cstring>

#include "platform/os/AutomationString.h"
#include "vekapi/VekApiC.h"

const char* CVekApi_Version(void) {
  return VEKAPI_VERSION;
}

CVekBSTR CstrToBSTR(const char* text) {
  return text ? Dova::Os::NewAutomationString(text, std::strlen(text)) : nullptr;
}

void CVekApi_FreeBSTR(CVekBSTR text) {
  Dova::Os::FreeAutomationString(text);
}
