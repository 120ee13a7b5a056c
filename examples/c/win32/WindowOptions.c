#include "WindowOptions.h"

#include <stdlib.h>
#include <string.h>

static bool ReadNumber(const char* text, unsigned* number) {
  char* end;
  const unsigned long value = strtoul(text, &end, 10);
  *number = (unsigned)value;
  return *text >= '0' && *text <= '9' && !*end && value > 0 && value <= 1000000000;
}

bool ReadOptions(struct WindowOptions* options, int argc, char** argv) {
  int i;
  for (i = 1; i < argc; ++i) {
    const char* const name = argv[i];
    const char* const value = argv[i + 1]; /* null after the last */
    if (strcmp(name, "--stream") == 0) {
      options->stream = true;
    } else if (strcmp(name, "--self-check") == 0) {
      options->selfCheck = true;
    } else if (strcmp(name, "--user") == 0 && value) {
      options->user = argv[++i];
    } else if (strcmp(name, "--password") == 0 && value) {
      options->password = argv[++i];
    } else if (strcmp(name, "--until") == 0 && value) {
      if (!ReadNumber(argv[++i], &options->until)) return false;
    } else if (*name == '-' || options->server) {
      return false;
    } else {
      options->server = name;
    }
  }
  return !options->selfCheck || options->until;
}
