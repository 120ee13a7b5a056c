/* Prints Windows' conversions of code page 950, for make_cp950_tables.py. Runs on Windows or under Wine.
 *   W uuuu bytes      one UTF-16 unit to code page 950
 *   B bytes units     one or two bytes of code page 950 to UTF-16 */
#include <stdio.h>
#include <windows.h>

enum { kBig5 = 950 };

static void PutHex(const unsigned char* bytes, int count) {
  for (int i = 0; i < count; ++i) printf("%02X", bytes[i]);
  if (count == 0) printf("-");
}

static void DumpUnits(void) {
  for (unsigned unit = 0; unit <= 0xFFFF; ++unit) {
    const WCHAR wide = (WCHAR)unit;
    char bytes[8];
    const int count = WideCharToMultiByte(kBig5, 0, &wide, 1, bytes, sizeof bytes, NULL, NULL);
    printf("W %04X ", unit);
    PutHex((unsigned char*)bytes, count);
    printf("\n");
  }
}

static void DumpBytes(const char* bytes, int count) {
  WCHAR wide[8];
  const int units = MultiByteToWideChar(kBig5, 0, bytes, count, wide, 8);
  printf("B ");
  PutHex((const unsigned char*)bytes, count);
  printf(" ");
  for (int i = 0; i < units; ++i) printf("%04X", wide[i]);
  printf("\n");
}

static void DumpAllBytes(void) {
  for (int lead = 0; lead <= 0xFF; ++lead) {
    char bytes[2] = {(char)lead, 0};
    DumpBytes(bytes, 1);
    if (!IsDBCSLeadByteEx(kBig5, (BYTE)lead)) continue;
    for (int trail = 0; trail <= 0xFF; ++trail) {
      bytes[1] = (char)trail;
      DumpBytes(bytes, 2);
    }
  }
}

int main(void) {
  DumpUnits();
  DumpAllBytes();
  return 0;
}
