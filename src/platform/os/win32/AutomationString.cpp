#include "platform/os/AutomationString.h"

#include <windows.h>
// Must follow windows.h.
#include <oleauto.h>

namespace Dova::Os {
namespace {

// The system adds the count and the terminator and rounds up; sums near 4 GiB would wrap.
constexpr std::size_t kMaxBytes = 0x7FFFFFFF;

}  // namespace

char* NewAutomationString(const char* bytes, std::size_t length) noexcept {
  if (length > kMaxBytes) return nullptr;
  return reinterpret_cast<char*>(SysAllocStringByteLen(bytes, static_cast<UINT>(length)));
}

void FreeAutomationString(char* text) noexcept {
  SysFreeString(reinterpret_cast<BSTR>(text));
}

}  // namespace Dova::Os
