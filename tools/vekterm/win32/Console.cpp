#include "vekterm/Console.h"

#include <atomic>

#include "vekterm/win32/Wide.h"

namespace VekTerm::Console {
namespace {

std::atomic<bool> interrupted{false};
std::atomic<bool> mustEnd{false};
std::atomic<bool> outputLost{false};
std::atomic<bool> inputLost{false};

bool IsConsole(HANDLE handle) {
  DWORD mode = 0;
  return GetConsoleMode(handle, &mode) != 0;
}

// The reader of the output has gone, or there is no space: continuing unseen makes no sense.
bool WriteTo(HANDLE handle, std::string_view text) {
  DWORD written = 0;
  if (IsConsole(handle)) {
    const std::wstring wide = Wide(text);
    WriteConsoleW(handle, wide.data(), static_cast<DWORD>(wide.size()), &written, nullptr);
    return true;
  }
  for (; !text.empty(); text.remove_prefix(written)) {
    if (WriteFile(handle, text.data(), static_cast<DWORD>(text.size()), &written, nullptr)) continue;
    mustEnd = true;
    return false;
  }
  return true;
}

// On a thread of the system. If it returns for a closed window, the process ends at once.
BOOL WINAPI OnSignal(DWORD kind) {
  if (kind == CTRL_C_EVENT) {
    interrupted = true;
    return TRUE;
  }
  mustEnd = true;
  if (kind != CTRL_BREAK_EVENT) Sleep(INFINITE);
  return TRUE;
}

std::optional<std::string> ReadLine(HANDLE input) {
  std::wstring line;
  for (wchar_t unit = 0;;) {
    DWORD count = 0;
    if (!ReadConsoleW(input, &unit, 1, &count, nullptr) || count == 0 || interrupted || mustEnd) return {};
    if (unit == L'\n') return Narrow(line);
    if (unit != L'\r') line += unit;
  }
}

}  // namespace

std::string ArgumentText(const std::string& argument) {
  return Narrow(Wide(argument, CP_ACP));
}

bool InputIsTerminal() {
  return IsConsole(GetStdHandle(STD_INPUT_HANDLE));
}

bool OutputIsTerminal() {
  return IsConsole(GetStdHandle(STD_OUTPUT_HANDLE));
}

std::size_t OutputColumns() {
  CONSOLE_SCREEN_BUFFER_INFO info{};
  const bool known = GetConsoleScreenBufferInfo(GetStdHandle(STD_OUTPUT_HANDLE), &info) != 0;
  return known && info.dwSize.X > 0 ? static_cast<std::size_t>(info.dwSize.X) : 0;
}

void Write(std::string_view text) {
  if (!WriteTo(GetStdHandle(STD_OUTPUT_HANDLE), text)) outputLost = true;
}

void WriteError(std::string_view text) {
  WriteTo(GetStdHandle(STD_ERROR_HANDLE), text);
}

bool OutputLost() {
  return outputLost;
}

std::size_t ReadInput(char* bytes, std::size_t room) {
  DWORD count = 0;
  const BOOL read =
      ReadFile(GetStdHandle(STD_INPUT_HANDLE), bytes, static_cast<DWORD>(room), &count, nullptr);
  if (read) return count;
  inputLost = GetLastError() != ERROR_BROKEN_PIPE;  // the end of a pipe
  return 0;
}

bool InputLost() {
  return inputLost;
}

std::optional<std::string> AskSecret(std::string_view prompt) {
  const auto open = [](const wchar_t* name) {
    return CreateFileW(name, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                       OPEN_EXISTING, 0, nullptr);
  };
  const HANDLE input = open(L"CONIN$"), output = open(L"CONOUT$");
  std::optional<std::string> line;
  DWORD mode = 0;
  if (input != INVALID_HANDLE_VALUE && GetConsoleMode(input, &mode)) {
    WriteTo(output, prompt);
    SetConsoleMode(input, ENABLE_LINE_INPUT | ENABLE_PROCESSED_INPUT);
    line = ReadLine(input);
    SetConsoleMode(input, mode);
    WriteTo(output, "\r\n");
  }
  for (const HANDLE handle : {input, output})
    if (handle != INVALID_HANDLE_VALUE) CloseHandle(handle);
  return line;
}

void WatchSignals() {
  SetConsoleCtrlHandler(OnSignal, TRUE);
}

bool TakeInterrupt() {
  return interrupted.exchange(false);
}

bool MustEnd() {
  return mustEnd;
}

}  // namespace VekTerm::Console
