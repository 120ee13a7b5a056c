/* The example window's command line. */
#ifndef EXAMPLES_C_WIN32_WINDOWOPTIONS_H
#define EXAMPLES_C_WIN32_WINDOWOPTIONS_H

#include <stdbool.h>

struct WindowOptions {
  const char* server; /* null, like the next two, if not given */
  const char* user;
  const char* password;
  unsigned until; /* 0 if not given */
  bool stream;
  bool selfCheck;
};

/* `options` must be zeroed; the texts remain those of argv. False if an option is invalid. */
bool ReadOptions(struct WindowOptions* options, int argc, char** argv);

#endif
