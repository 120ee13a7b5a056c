#include "System.h"

#include <windows.h>

static SRWLOCK mutex = SRWLOCK_INIT;
static CONDITION_VARIABLE changed = CONDITION_VARIABLE_INIT;

void LockNotes(void) {
  AcquireSRWLockExclusive(&mutex);
}

void UnlockNotes(void) {
  WakeAllConditionVariable(&changed);
  ReleaseSRWLockExclusive(&mutex);
}

bool WaitForNotes(void) {
  return SleepConditionVariableSRW(&changed, &mutex, 30000, 0) != 0;
}

const char* Readable(const char* cp950, char* out, size_t size) {
  WCHAR wide[1024];
  const int count = MultiByteToWideChar(950, 0, cp950, -1, wide, 1023);
  char* at;
  wide[count] = 0;
  if (!WideCharToMultiByte(CP_UTF8, 0, wide, -1, out, (int)size, NULL, NULL)) *out = '\0';
  for (at = out; *at; ++at) {
    if ((unsigned char)*at < 0x20) *at = ' ';
  }
  return out;
}

void PrepareConsole(void) {
  SetConsoleOutputCP(CP_UTF8);
}
