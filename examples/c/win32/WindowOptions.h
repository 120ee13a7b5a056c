/* The example window's command line. */
#ifndef EXAMPLES_C_WIN32_WINDOWOPTIONS_H
#define EXAMPLES_C_WIN32_WINDOWOPTIONS_H

#include <stdbool.h>

struct WindowOptions {
  const char* server; /* null, as the next two, when not given */
  const char* user;
  const char* password;
  unsigned until; /* 0 when not given */
  bool stream;
  bool selfCheck;
};

/* Into zeroes; the texts stay those of argv. False when something is wrong. */
bool ReadOptions(struct WindowOptions* options, int argc, char** argv);

#endif
