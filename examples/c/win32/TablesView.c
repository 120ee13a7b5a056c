#include "TablesView.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

struct KeptTable {
  LRESULT serial; /* counts from 1 */
  int columns;
  int rows;
  WCHAR title[128];
  const WCHAR* texts[]; /* the headings, then the records; followed by the characters */
};

int WideText(const char* cp950, WCHAR* out, int size) {
  const size_t length = strlen(cp950);
  const int room = size - 1;
  const int count =
      room > 0 && length > 0
          ? MultiByteToWideChar(950, 0, cp950, length > (size_t)room ? room : (int)length, out, room)
          : 0;
  int i;
  for (i = 0; i < count; ++i) {
    if (out[i] < 0x20) out[i] = ' ';
  }
  out[count] = 0;
  return count;
}

/* Row -1 is the heading. */
static const char* CellText(const CVekTable* table, int row, int column) {
  CVekFields fields;
  CVekField field;
  CVekProperties properties;
  const char* text;
  if (row >= 0) {
    text = CVekTable_RecordIndexField(table, row, column);
  } else {
    fields = CVekTable_Fields(table);
    field = CVekFields_IndexField(&fields, column);
    properties = CVekField_Properties(&field);
    text = CVekProperties_DisplayText(&properties);
  }
  return text ? text : "";
}

static void WriteTitle(struct KeptTable* kept, const CVekTable* table, const char* workId) {
  const CVekProperties properties = CVekTable_Properties(table);
  const int records = CVekTable_RecordsCount(table);
  char title[128];
  if (records > kept->rows) {
    snprintf(title, sizeof title, "%s  %s (%d of %d)", workId, CVekProperties_DisplayText(&properties),
             kept->rows, records);
  } else {
    snprintf(title, sizeof title, "%s  %s (%d)", workId, CVekProperties_DisplayText(&properties), records);
  }
  WideText(title, kept->title, (int)(sizeof kept->title / sizeof *kept->title));
}

/* One block: no text of code page 950 has more characters than bytes. Null if there is no memory. */
static struct KeptTable* CopyOf(const CVekTable* table, const char* workId) {
  const CVekFields fields = CVekTable_Fields(table);
  const int columns = CVekFields_Count(&fields), records = CVekTable_RecordsCount(table);
  const int rows = records < kKeptRows ? records : kKeptRows;
  size_t cells = 0, characters = 0;
  struct KeptTable* kept;
  const WCHAR** text;
  WCHAR* at;
  int row, column;
  for (row = -1; row < rows; ++row) {
    for (column = 0; column < columns; ++column, ++cells)
      characters += strlen(CellText(table, row, column)) + 1;
  }
  kept = malloc(sizeof *kept + cells * sizeof *text + characters * sizeof *at);
  if (!kept) return NULL;
  kept->columns = columns;
  kept->rows = rows;
  text = kept->texts;
  at = (WCHAR*)(kept->texts + cells);
  for (row = -1; row < rows; ++row) {
    for (column = 0; column < columns; ++column) {
      const char* const cell = CellText(table, row, column);
      *text++ = at;
      at += WideText(cell, at, (int)strlen(cell) + 1) + 1;
    }
  }
  WriteTitle(kept, table, workId);
  return kept;
}

static int ColumnWidth(const struct TablesView* view, const struct KeptTable* table, int column) {
  enum { kLookedAt = 30, kMargin = 16 };
  int widest = 0, row;
  for (row = -1; row < table->rows && row < kLookedAt; ++row) {
    const WCHAR* const text = table->texts[(row + 1) * table->columns + column];
    const int width = (int)SendMessageW(view->report, LVM_GETSTRINGWIDTHW, 0, (LPARAM)text);
    if (width > widest) widest = width;
  }
  return widest + kMargin;
}

static void Show(struct TablesView* view, struct KeptTable* table) {
  LVCOLUMNW column;
  int i;
  if (table == view->shown) return;
  SendMessageW(view->report, WM_SETREDRAW, FALSE, 0);
  ListView_SetItemCountEx(view->report, 0, 0);
  while (ListView_DeleteColumn(view->report, 0)) continue;
  view->shown = table;
  memset(&column, 0, sizeof column);
  column.mask = LVCF_TEXT | LVCF_WIDTH;
  for (i = 0; table && i < table->columns; ++i) {
    column.pszText = (WCHAR*)table->texts[i];
    column.cx = ColumnWidth(view, table, i);
    SendMessageW(view->report, LVM_INSERTCOLUMNW, (WPARAM)i, (LPARAM)&column);
  }
  ListView_SetItemCountEx(view->report, table ? table->rows : 0, 0);
  SendMessageW(view->report, WM_SETREDRAW, TRUE, 0);
  InvalidateRect(view->report, NULL, TRUE);
}

/* The one in the report is kept: the report asks for its texts whenever it paints. */
static void ForgetOldest(struct TablesView* view) {
  const int index = view->kept[0] == view->shown ? 1 : 0;
  free(view->kept[index]);
  --view->count;
  memmove(view->kept + index, view->kept + index + 1, sizeof *view->kept * (size_t)(view->count - index));
}

bool KeepTable(struct TablesView* view, const CVekTable* table, const char* workId) {
  struct KeptTable* const kept = CopyOf(table, workId);
  if (!kept) return false;
  if (view->count == kKeptTables) ForgetOldest(view);
  view->kept[view->count++] = kept;
  kept->serial = ++view->serial;
  view->changed = true;
  return true;
}

/* That of the oldest table if the requested one is no longer kept; negative if none is. */
static int IndexOf(const struct TablesView* view, LRESULT serial) {
  int i = view->count - 1;
  while (i > 0 && view->kept[i]->serial != serial) --i;
  return i;
}

static LRESULT SerialAt(const struct TablesView* view, LRESULT index) {
  return SendMessageW(view->list, LB_GETITEMDATA, (WPARAM)index, 0);
}

static void FillList(const struct TablesView* view) {
  int i;
  SendMessageW(view->list, LB_RESETCONTENT, 0, 0);
  for (i = 0; i < view->count; ++i) {
    SendMessageW(view->list, LB_ADDSTRING, 0, (LPARAM)view->kept[i]->title);
    SendMessageW(view->list, LB_SETITEMDATA, (WPARAM)i, (LPARAM)view->kept[i]->serial);
  }
}

void ShowTables(struct TablesView* view) {
  const LRESULT top = SerialAt(view, SendMessageW(view->list, LB_GETTOPINDEX, 0, 0));
  if (!view->changed) return;
  view->changed = false;
  if (!view->chosen) Show(view, view->kept[view->count - 1]);
  SendMessageW(view->list, WM_SETREDRAW, FALSE, 0); /* painted once for all */
  FillList(view);
  SendMessageW(view->list, LB_SETCURSEL, (WPARAM)IndexOf(view, view->shown->serial), 0);
  /* A user who has chosen continues to see the same part of the list. */
  if (view->chosen) SendMessageW(view->list, LB_SETTOPINDEX, (WPARAM)IndexOf(view, top), 0);
  SendMessageW(view->list, WM_SETREDRAW, TRUE, 0);
  InvalidateRect(view->list, NULL, TRUE);
}

/* By its number: the list may be older than the kept tables. */
void OnTableChosen(struct TablesView* view) {
  const int index = IndexOf(view, SerialAt(view, SendMessageW(view->list, LB_GETCURSEL, 0, 0)));
  if (index < 0) return;
  view->chosen = index < view->count - 1;
  Show(view, view->kept[index]);
}

void OnTextWanted(struct TablesView* view, LVITEMW* item) {
  const struct KeptTable* const table = view->shown;
  if (!(item->mask & LVIF_TEXT) || !table || item->iItem >= table->rows || item->iSubItem >= table->columns)
    return;
  item->pszText = (WCHAR*)table->texts[(item->iItem + 1) * table->columns + item->iSubItem];
}

void ForgetTables(struct TablesView* view) {
  view->shown = NULL;
  while (view->count > 0) ForgetOldest(view);
}
