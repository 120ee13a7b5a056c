/* The controls of the example window. */
#ifndef EXAMPLES_C_WIN32_WINDOWCONTROLS_H
#define EXAMPLES_C_WIN32_WINDOWCONTROLS_H

#include <windows.h>

enum {
  kServer = 100,
  kUser,
  kPassword,
  kConnect,
  kDisconnect,
  kQueryText,
  kQuery,
  kOrderText,
  kOrder,
  kTables,
  kReport,
  kLog
};

enum { kGap = 8 }; /* between everything */

/* Returns their font, which lives until the caller deletes it. */
HFONT MakeControls(HWND frame);

/* Moves them into a frame of that size. Returns the space left for the status line. */
RECT Layout(HWND frame, int width, int height);

#endif
