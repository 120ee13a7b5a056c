/* What the example needs of the system: waiting for what another thread notes, and readable texts. */
#ifndef EXAMPLES_C_SYSTEM_H
#define EXAMPLES_C_SYSTEM_H

#include <stdbool.h>
#include <stddef.h>

/* One lock for everything that callbacks note down, and waiting for a change of it. */
void LockNotes(void);
void UnlockNotes(void);  /* wakes whoever waits */
bool WaitForNotes(void); /* with the lock held; false when nothing changed for 30 seconds */

/* Texts of the library are bytes in code page 950 (Big5); this is how to read them. Control bytes become
   blanks. Writes UTF-8 with its NUL, cut to `size` bytes, and returns `out`. */
const char* Readable(const char* cp950, char* out, size_t size);

void PrepareConsole(void);

#endif
