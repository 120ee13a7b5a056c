#include "platform/os/ErrorText.h"

#include <windows.h>

namespace Dova {
namespace {

constexpr DWORD kMaxText = 512;

std::wstring AskSystem(DWORD error, DWORD language) {
  wchar_t text[kMaxText];
  const DWORD flags = FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS;
  const DWORD size = FormatMessageW(flags, nullptr, error, language, text, kMaxText, nullptr);
  std::wstring result(text, size);
  while (!result.empty() && (result.back() == L'\r' || result.back() == L'\n' || result.back() == L' ')) {
    result.pop_back();
  }
  return result;
}

// Texts for users are in the system's code page.
std::string ToAnsi(const std::wstring& wide) {
  const int wideSize = static_cast<int>(wide.size());
  const int size = WideCharToMultiByte(CP_ACP, 0, wide.data(), wideSize, nullptr, 0, nullptr, nullptr);
  std::string bytes(static_cast<std::size_t>(size), '\0');
  WideCharToMultiByte(CP_ACP, 0, wide.data(), wideSize, bytes.data(), size, nullptr, nullptr);
  return bytes;
}

}  // namespace

std::string SysErrorMessage(int systemError) {
  const DWORD saved = GetLastError();
  const auto error = static_cast<DWORD>(systemError);
  std::wstring text = AskSystem(error, MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US));
  if (text.empty()) text = AskSystem(error, 0);
  std::string result = ToAnsi(text);
  SetLastError(saved);
  return result.empty() ? "Error " + std::to_string(systemError) : result;
}

}  // namespace Dova
