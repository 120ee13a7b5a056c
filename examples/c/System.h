/* The system services used by the example: waiting for data stored by another thread, and readable texts. */
#ifndef EXAMPLES_C_SYSTEM_H
#define EXAMPLES_C_SYSTEM_H

#include <stdbool.h>
#include <stddef.h>

/* One lock for all data stored by callbacks, and waiting for a change of it. */
void LockNotes(void);
void UnlockNotes(void);  /* wakes the waiters */
bool WaitForNotes(void); /* with the lock held; false if nothing changed for 30 seconds */

/* Converts a text of the library, which is in code page 950 (Big5). Control bytes become blanks. Writes
   UTF-8 with its NUL, cut to `size` bytes, and returns `out`. */
const char* Readable(const char* cp950, char* out, size_t size);

void PrepareConsole(void);

#endif
