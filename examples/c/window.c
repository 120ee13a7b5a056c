/* A trading window, for Windows: one thread, an ordinary message loop, and a session whose callbacks run in
   it.

     window_c [HOST:PORT] [--user U] [--password P] [--stream] [--until N [--self-check]]

   With HOST:PORT it connects at once. --stream sends query after query, as fast as answers arrive and the
   server allows. With --until the window closes after N results, and the program exits with 0, or with 1 if
   the session, or the user, ended it before. --self-check also types into the window and counts its paints
   and timer ticks meanwhile: queries continue until the check is complete, and wrong text in the window makes
   the program exit with 3.

   This file is the window and the program. The session is in win32/WindowSession.c, its tables are in
   win32/TablesView.c, the controls in win32/WindowControls.c. All run on the window's thread. */
#include <stdio.h>
#include <string.h>

#include "win32/WindowControls.h"
#include "win32/WindowOptions.h"
#include "win32/WindowSession.h"

enum { kRefreshTimer = kSendTimer + 1, kCheckTimer };

/* Checks that the window stays responsive while results stream. */
struct SelfCheck {
  int typed;
  bool typedAll;
  int ticks;        /* of the timer, since results and reports began to arrive */
  int paints;       /* that showed a new number of results */
  unsigned painted; /* the last number shown */
};

struct Window {
  struct WindowSession session;
  struct WindowOptions options;
  struct SelfCheck check;
  HFONT font;
  bool closing;
};

/* ---- Painting: the status line */

static const char* StateText(int state) {
  static const char* const kTexts[] = {"heartbeat timeout",
                                       "refused by the server",
                                       "sign-on refused",
                                       "no answer to the connect request",
                                       "link broken",
                                       "link not opened",
                                       "disconnected",
                                       "not connected",
                                       "connecting",
                                       "connected",
                                       "ready"};
  return state >= cvcs_HeartbeatTimeout && state <= cvcs_ApReady ? kTexts[state - cvcs_HeartbeatTimeout]
                                                                 : "?";
}

static void Paint(struct Window* window) {
  const struct WindowSession* const session = &window->session;
  PAINTSTRUCT paint;
  const HDC dc = BeginPaint(session->frame, &paint);
  const HGDIOBJ before = SelectObject(dc, window->font);
  char text[160];
  WCHAR wide[160];
  int length;
  snprintf(text, sizeof text, "%s     results %u     tables %u     reports %u",
           StateText(CVekClient_State(&session->client)), session->results, session->tableCount,
           session->reports);
  length = WideText(text, wide, 160);
  SetBkColor(dc, GetSysColor(COLOR_3DFACE));
  SetTextColor(dc, GetSysColor(COLOR_BTNTEXT));
  ExtTextOutW(dc, kGap, session->status.top + 4, ETO_OPAQUE, &session->status, wide, (UINT)length, NULL);
  SelectObject(dc, before);
  EndPaint(session->frame, &paint);
  if (session->results != window->check.painted) ++window->check.paints;
  window->check.painted = session->results;
}

/* ---- Self-check */

static const WCHAR kTyped[] = L"positions";
enum { kTypedLength = sizeof kTyped / sizeof *kTyped - 1, kLeastPaints = 10, kLeastTicks = 20 };

/* One key at a time, while results arrive. Timers run when there is nothing else to do: by the next one the
   key has reached its field. */
static void TypeNext(struct Window* window) {
  if (window->session.results == 0) return;
  ++window->check.ticks;
  if (window->check.typed == kTypedLength) {
    window->session.unfinished = window->check.paints < kLeastPaints || window->check.ticks < kLeastTicks;
    return;
  }
  PostMessageW(GetDlgItem(window->session.frame, kQueryText), WM_CHAR, kTyped[window->check.typed++], 1);
}

static void NoteTyped(struct Window* window) {
  WCHAR text[64];
  GetDlgItemTextW(window->session.frame, kQueryText, text, 64);
  window->check.typedAll = lstrcmpW(text, kTyped) == 0;
  printf("self-check: %d ticks, %d paints of new numbers, %u reports, text typed %s\n", window->check.ticks,
         window->check.paints, window->session.reports,
         window->check.typedAll ? "as it should be" : "short or wrong");
}

/* ---- Input */

/* The text of an edit, in code page 950. */
static const char* EditText(const struct Window* window, int id, char* text, int size) {
  WCHAR wide[256];
  GetDlgItemTextW(window->session.frame, id, wide, 256);
  if (!WideCharToMultiByte(950, 0, wide, -1, text, size, NULL, NULL)) *text = '\0';
  return text;
}

/* Texts are read before the call, into this function's own buffers: callbacks of the ending session may run
   inside it. */
static void ConnectAsEntered(struct Window* window) {
  char server[512], user[512], password[512];
  EditText(window, kServer, server, sizeof server);
  EditText(window, kUser, user, sizeof user);
  EditText(window, kPassword, password, sizeof password);
  Connect(&window->session, server, user, password);
}

/* Enter presses the button that has the focus, or that of the field that has it. */
static int MeantByEnter(int focused) {
  if (focused == kDisconnect || focused == kQuery || focused == kOrder) return focused;
  return focused == kQueryText ? kQuery : focused == kOrderText ? kOrder : kConnect;
}

static void OnCommand(struct Window* window, int id, int notice) {
  struct WindowSession* const session = &window->session;
  char text[512];
  if (id == IDOK) id = MeantByEnter(GetDlgCtrlID(GetFocus()));
  if (id == kConnect) ConnectAsEntered(window);
  if (id == kDisconnect) Disconnect(session);
  if (id == kQuery) Query(session, EditText(window, kQueryText, text, sizeof text));
  if (id == kOrder) Order(session, EditText(window, kOrderText, text, sizeof text));
  if (id == kTables && notice == LBN_SELCHANGE) OnTableChosen(&session->tables);
}

/* Deleting waits for a callback started by another thread, and runs it here. So the client is deleted first,
   while everything used by callbacks still exists; no callback follows. It may be deleted while results are
   in flight and the session is connected. */
static void OnClose(struct Window* window) {
  if (window->closing) return; /* may arrive inside the deletion */
  window->closing = true;
  CVekClient_Delete(&window->session.client);
  if (window->options.selfCheck) NoteTyped(window);
  DestroyWindow(window->session.frame);
}

/* ---- The window */

static void OnTimer(struct Window* window, WPARAM timer) {
  if (timer == kSendTimer) SendNext(&window->session);
  if (timer == kRefreshTimer) {
    ShowTables(&window->session.tables);
    ShowReports(&window->session);
  }
  if (timer == kCheckTimer) TypeNext(window);
}

static void OnNotify(struct Window* window, NMHDR* notice) {
  if (notice->idFrom == kReport && notice->code == LVN_GETDISPINFOW)
    OnTextWanted(&window->session.tables, &((NMLVDISPINFOW*)notice)->item);
}

static void OnCreate(struct Window* window, HWND frame) {
  window->font = MakeControls(frame);
  window->session.frame = frame;
  window->session.log = GetDlgItem(frame, kLog);
  window->session.tables.list = GetDlgItem(frame, kTables);
  window->session.tables.report = GetDlgItem(frame, kReport);
  SetTimer(frame, kRefreshTimer, 100, NULL);
  if (!window->options.selfCheck) return;
  SetDlgItemTextW(frame, kQueryText, L"");
  SetTimer(frame, kCheckTimer, 20, NULL);
}

static LRESULT CALLBACK OnMessage(HWND frame, UINT message, WPARAM first, LPARAM second) {
  struct Window* const window = (struct Window*)GetWindowLongPtrW(frame, GWLP_USERDATA);
  if (message == WM_NCCREATE)
    SetWindowLongPtrW(frame, GWLP_USERDATA, (LONG_PTR)((CREATESTRUCTW*)second)->lpCreateParams);
  if (!window) return DefWindowProcW(frame, message, first, second);
  switch (message) {
    case WM_CREATE:
      return OnCreate(window, frame), 0;
    case WM_SIZE:
      window->session.status = Layout(frame, LOWORD(second), HIWORD(second));
      return 0;
    case WM_GETMINMAXINFO:
      ((MINMAXINFO*)second)->ptMinTrackSize = (POINT){760, 420};
      return 0;
    case WM_PAINT:
      return Paint(window), 0;
    case WM_COMMAND:
      return OnCommand(window, LOWORD(first), HIWORD(first)), 0;
    case WM_NOTIFY:
      return OnNotify(window, (NMHDR*)second), 0;
    case WM_TIMER:
      return OnTimer(window, first), 0;
    case WM_CLOSE:
      return OnClose(window), 0;
    case WM_DESTROY:
      return PostQuitMessage(0), 0;
    default:
      return DefWindowProcW(frame, message, first, second);
  }
}

static bool OpenWindow(struct Window* window) {
  WNDCLASSW frame;
  InitCommonControls();
  memset(&frame, 0, sizeof frame);
  frame.lpfnWndProc = OnMessage;
  frame.hInstance = GetModuleHandleW(NULL);
  frame.hCursor = LoadCursor(NULL, IDC_ARROW);
  frame.hIcon = LoadIcon(NULL, IDI_APPLICATION);
  frame.hbrBackground = (HBRUSH)(COLOR_3DFACE + 1);
  frame.lpszClassName = L"VekApi.ExampleWindow";
  return RegisterClassW(&frame) &&
         CreateWindowExW(0, frame.lpszClassName, L"VekApi example", WS_OVERLAPPEDWINDOW | WS_CLIPCHILDREN,
                         CW_USEDEFAULT, CW_USEDEFAULT, 920, 600, NULL, NULL, frame.hInstance, window);
}

/* ---- The program */

static void Begin(struct Window* window) {
  const struct WindowOptions* const options = &window->options;
  const HWND frame = window->session.frame;
  window->session.stream = options->stream;
  window->session.until = options->until;
  window->session.unfinished = options->selfCheck;
  if (options->user) SetDlgItemTextA(frame, kUser, options->user);
  if (options->password) SetDlgItemTextA(frame, kPassword, options->password);
  if (options->server) SetDlgItemTextA(frame, kServer, options->server);
  ShowWindow(frame, SW_SHOW);
  if (options->server) ConnectAsEntered(window);
}

/* The client needs no special handling: its callbacks run inside GetMessage and DispatchMessage. */
static void RunLoop(HWND frame) {
  MSG message;
  while (GetMessageW(&message, NULL, 0, 0) > 0) {
    if (IsDialogMessageW(frame, &message)) continue; /* Tab and Enter */
    TranslateMessage(&message);
    DispatchMessageW(&message);
  }
}

static int ExitStatus(const struct Window* window) {
  if (window->session.until == 0) return 0;
  printf("%u of %u results\n", window->session.results, window->session.until);
  if (window->session.results < window->session.until) {
    printf("ended before, the session in state %d\n", window->session.lastState);
    return 1;
  }
  if (!window->options.selfCheck) return 0;
  return window->check.typedAll ? 0 : 3;
}

int main(int argc, char** argv) {
  static struct Window window; /* outlives the client */
  if (!ReadOptions(&window.options, argc, argv)) {
    fputs("usage: window_c [HOST:PORT] [--user U] [--password P] [--stream] [--until N [--self-check]]\n",
          stderr);
    return 2;
  }
  /* The client belongs to the thread that creates it, which must be the one with the loop. */
  if (!OpenWindow(&window) || !CreateClient(&window.session)) {
    fputs("window_c: no window can be made here\n", stderr);
    return 1;
  }
  Begin(&window);
  RunLoop(window.session.frame);
  ForgetTables(&window.session.tables);
  DeleteObject(window.font);
  return ExitStatus(&window);
}
