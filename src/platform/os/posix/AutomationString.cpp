#include "platform/os/AutomationString.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace Dova::Os {
namespace {

constexpr std::size_t kMaxBytes = 0x7FFFFFFF;  // the same on every system

// The count is stored at its end, so that the text is aligned as on Windows.
constexpr std::size_t kRoomInFront = 8;
constexpr std::size_t kTerminator = 2;

}  // namespace

char* NewAutomationString(const char* bytes, std::size_t length) noexcept {
  if (length > kMaxBytes) return nullptr;
  // malloc instead of new: callers of the flat functions may lack a C++ runtime's out-of-memory handler.
  auto* const memory = static_cast<char*>(std::malloc(kRoomInFront + length + kTerminator));
  if (!memory) return nullptr;
  char* const text = memory + kRoomInFront;
  const auto count = static_cast<std::uint32_t>(length);
  std::memcpy(text - sizeof count, &count, sizeof count);
  std::memcpy(text, bytes, length);
  std::memset(text + length, 0, kTerminator);
  return text;
}

void FreeAutomationString(char* text) noexcept {
  if (text) std::free(text - kRoomInFront);
}

}  // namespace Dova::Os
