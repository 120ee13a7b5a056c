/* The tables of a session in a window: a list box with an entry for each, and a report (list view) of the one
   that is chosen. All of it belongs to the window's thread, and needs no lock. */
#ifndef EXAMPLES_C_WIN32_TABLESVIEW_H
#define EXAMPLES_C_WIN32_TABLESVIEW_H

#include <stdbool.h>
#include <windows.h>

#include <commctrl.h>

#include "vekapi/VekApiC.h"

enum { kKeptTables = 50, kKeptRows = 1000 };

struct KeptTable;

/* Starts as zeroes and the two controls; `report` has LVS_OWNERDATA: it asks for the texts that it shows. */
struct TablesView {
  HWND list;
  HWND report;
  struct KeptTable* kept[kKeptTables]; /* the last ones, oldest first */
  int count;
  struct KeptTable* shown; /* in the report; null: none */
  bool chosen;             /* by the user, who does not want to see the newest */
  bool changed;            /* since the list was filled */
  LRESULT serial;          /* of the newest */
};

/* Texts of the library are code page 950; those of windows are UTF-16. Control characters become blanks.
   Writes at most `size` characters with the NUL, cutting what is longer, and returns how many stand in front
   of it. */
int WideText(const char* cp950, WCHAR* out, int size);

/* Copies a table, which is only lent, with its first kKeptRows records. The oldest gives way, but never the
   one in the report. False when there is no memory for it. */
bool KeepTable(struct TablesView* view, const CVekTable* table, const char* workId);

/* Brings the controls up to date; the report shows the newest table unless the user has chosen another. To be
   called a few times a second, not with every table: controls that change faster cannot be read, and while
   they paint the session waits, and timers, which come last in a message loop, may not come at all. */
void ShowTables(struct TablesView* view);

void OnTableChosen(struct TablesView* view);               /* LBN_SELCHANGE of the list */
void OnTextWanted(struct TablesView* view, LVITEMW* item); /* LVN_GETDISPINFO of the report */

/* When the controls are gone. */
void ForgetTables(struct TablesView* view);

#endif
