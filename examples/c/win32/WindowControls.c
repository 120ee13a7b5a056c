#include "WindowControls.h"

#include <commctrl.h>

enum { kLabels = 200, kLabelServer = kLabels, kLabelUser, kLabelPassword, kLabelQuery, kLabelOrder };

static const struct Control {
  int id;
  const WCHAR* type;
  const WCHAR* text;
  DWORD style;
} kControls[] = {
    {kLabelServer, L"STATIC", L"Server", 0},
    {kServer, L"EDIT", L"127.0.0.1:9000", WS_TABSTOP | ES_AUTOHSCROLL},
    {kLabelUser, L"STATIC", L"User", 0},
    {kUser, L"EDIT", L"trader", WS_TABSTOP | ES_AUTOHSCROLL},
    {kLabelPassword, L"STATIC", L"Password", 0},
    {kPassword, L"EDIT", L"secret", WS_TABSTOP | ES_AUTOHSCROLL | ES_PASSWORD},
    {kConnect, L"BUTTON", L"Connect", WS_TABSTOP},
    {kDisconnect, L"BUTTON", L"Disconnect", WS_TABSTOP},
    {kLabelQuery, L"STATIC", L"Query", 0},
    {kQueryText, L"EDIT", L"products", WS_TABSTOP | ES_AUTOHSCROLL},
    {kQuery, L"BUTTON", L"Query", WS_TABSTOP},
    {kLabelOrder, L"STATIC", L"Order", 0},
    {kOrderText, L"EDIT", L"prod=TXF side=B qty=1 price=MKT", WS_TABSTOP | ES_AUTOHSCROLL},
    {kOrder, L"BUTTON", L"Send", WS_TABSTOP},
    {kTables, L"LISTBOX", L"", WS_TABSTOP | WS_VSCROLL | LBS_NOTIFY | LBS_NOINTEGRALHEIGHT},
    {kReport, WC_LISTVIEWW, L"", WS_TABSTOP | LVS_REPORT | LVS_OWNERDATA | LVS_SHOWSELALWAYS | LVS_SINGLESEL},
    {kLog, L"LISTBOX", L"", WS_TABSTOP | WS_VSCROLL | LBS_NOSEL | LBS_NOINTEGRALHEIGHT},
};

HFONT MakeControls(HWND frame) {
  NONCLIENTMETRICSW metrics;
  HFONT font;
  size_t i;
  metrics.cbSize = sizeof metrics;
  SystemParametersInfoW(SPI_GETNONCLIENTMETRICS, sizeof metrics, &metrics, 0);
  font = CreateFontIndirectW(&metrics.lfMessageFont);
  for (i = 0; i < sizeof kControls / sizeof *kControls; ++i) {
    const struct Control* const c = &kControls[i];
    const BOOL sunken = c->id < kLabels && lstrcmpiW(c->type, L"BUTTON") != 0;
    const HWND made =
        CreateWindowExW(sunken ? WS_EX_CLIENTEDGE : 0, c->type, c->text, c->style | WS_CHILD | WS_VISIBLE, 0,
                        0, 0, 0, frame, (HMENU)(INT_PTR)c->id, GetModuleHandleW(NULL), NULL);
    SendMessageW(made, WM_SETFONT, (WPARAM)font, FALSE);
  }
  ListView_SetExtendedListViewStyle(GetDlgItem(frame, kReport), LVS_EX_FULLROWSELECT | LVS_EX_GRIDLINES);
  return font;
}

enum { kLine = 24, kStatusLine = 24, kButton = 86, kListWidth = 230, kLogHeight = 130 };

/* Returns the start of the next one in the row. */
static int Put(HWND frame, int id, int x, int y, int width, int height) {
  const int down = id >= kLabels ? 4 : 0; /* aligns a label's text with that of the edit after it */
  MoveWindow(GetDlgItem(frame, id), x, y + down, width, height - down, TRUE);
  return x + width + (id >= kLabels ? 0 : kGap);
}

RECT Layout(HWND frame, int width, int height) {
  RECT status;
  const int edit = (width - 4 * kGap - 2 * 48 - 2 * kButton - kGap) / 2;
  const int logTop = height - kStatusLine - kLogHeight, top = 3 * kGap + 2 * kLine;
  int x = Put(frame, kLabelServer, kGap, kGap, 48, kLine);
  x = Put(frame, kServer, x, kGap, 160, kLine);
  x = Put(frame, kLabelUser, x, kGap, 34, kLine);
  x = Put(frame, kUser, x, kGap, 100, kLine);
  x = Put(frame, kLabelPassword, x, kGap, 62, kLine);
  x = Put(frame, kPassword, x, kGap, 100, kLine);
  x = Put(frame, kConnect, x, kGap, kButton, kLine);
  Put(frame, kDisconnect, x, kGap, kButton, kLine);
  x = Put(frame, kLabelQuery, kGap, 2 * kGap + kLine, 48, kLine);
  x = Put(frame, kQueryText, x, 2 * kGap + kLine, edit, kLine);
  x = Put(frame, kQuery, x, 2 * kGap + kLine, kButton, kLine);
  x = Put(frame, kLabelOrder, x, 2 * kGap + kLine, 48, kLine);
  x = Put(frame, kOrderText, x, 2 * kGap + kLine, edit, kLine);
  Put(frame, kOrder, x, 2 * kGap + kLine, kButton, kLine);
  x = Put(frame, kTables, kGap, top, kListWidth, logTop - top - kGap);
  Put(frame, kReport, x, top, width - x - kGap, logTop - top - kGap);
  Put(frame, kLog, kGap, logTop, width - 2 * kGap, kLogHeight);
  SetRect(&status, 0, height - kStatusLine, width, height);
  RedrawWindow(frame, NULL, NULL, RDW_INVALIDATE | RDW_ERASE | RDW_ALLCHILDREN);
  return status;
}
