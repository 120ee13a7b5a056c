/* The tables of a session in a window: a list box with an entry for each, and a report (list view) of the
   chosen one. Used on the window's thread only, without locks. */
#ifndef EXAMPLES_C_WIN32_TABLESVIEW_H
#define EXAMPLES_C_WIN32_TABLESVIEW_H

#include <stdbool.h>
#include <windows.h>

#include <commctrl.h>

#include "vekapi/VekApiC.h"

enum { kKeptTables = 50, kKeptRows = 1000 };

struct KeptTable;

/* Starts as zeroes and the two controls; `report` has LVS_OWNERDATA: it asks for the texts it shows. */
struct TablesView {
  HWND list;
  HWND report;
  struct KeptTable* kept[kKeptTables]; /* the latest, oldest first */
  int count;
  struct KeptTable* shown; /* in the report; null: none */
  bool chosen;             /* by the user, who does not want to see the newest */
  bool changed;            /* since the list was filled */
  LRESULT serial;          /* of the newest */
};

/* Texts of the library are code page 950; those of windows are UTF-16. Control characters become blanks.
   Writes at most `size` characters with the NUL, cutting longer texts, and returns their number before the
   NUL. */
int WideText(const char* cp950, WCHAR* out, int size);

/* Copies a borrowed table, with its first kKeptRows records. Replaces the oldest one, but never that in the
   report. False if there is no memory. */
bool KeepTable(struct TablesView* view, const CVekTable* table, const char* workId);

/* Brings the controls up to date; the report shows the newest table unless the user has chosen another. Call
   it a few times a second, not with every table: controls that change faster cannot be read, the session
   waits while they paint, and timers, which a message loop handles last, may never run. */
void ShowTables(struct TablesView* view);

void OnTableChosen(struct TablesView* view);               /* LBN_SELCHANGE of the list */
void OnTextWanted(struct TablesView* view, LVITEMW* item); /* LVN_GETDISPINFO of the report */

/* After the controls have been destroyed. */
void ForgetTables(struct TablesView* view);

#endif
