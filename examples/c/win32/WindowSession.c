#include "WindowSession.h"

#include <stdio.h>
#include <string.h>

/* Bytes before a request's text, reserved for the library. */
enum { kRoom = 5, kQueryCode = 128, kOrderCode = 129, kRetryMs = 20 };

void Log(struct WindowSession* session, const char* kind, const char* text) {
  enum { kLogLines = 500 };
  char line[512];
  WCHAR wide[512];
  LRESULT index;
  snprintf(line, sizeof line, "%s  %s", kind, text);
  WideText(line, wide, 512);
  if (SendMessageW(session->log, LB_GETCOUNT, 0, 0) >= kLogLines)
    SendMessageW(session->log, LB_DELETESTRING, 0, 0);
  index = SendMessageW(session->log, LB_ADDSTRING, 0, (LPARAM)wide);
  SendMessageW(session->log, LB_SETTOPINDEX, (WPARAM)index, 0);
}

static void NumbersChanged(struct WindowSession* session) {
  InvalidateRect(session->frame, &session->status, FALSE);
}

static void KeepTables(struct WindowSession* session, const CVekTaskResult* result, const char* workId) {
  const unsigned count = CVekTaskResult_TableCount(result);
  unsigned i;
  for (i = 0; i < count; ++i) {
    const CVekTable table = CVekTaskResult_IndexTable(result, i);
    if (!KeepTable(&session->tables, &table, workId)) Log(session, "table", "no memory to show it");
  }
  session->tableCount += count;
  NumbersChanged(session);
}

/* ---- Callbacks.

   They run on the thread that created the client, inside its message loop, and also inside calls of this
   program: while a call connects, disconnects or deletes, results of the ending session may still arrive. So
   those calls are made when no table or text that a callback replaces is in use, and the windows that
   callbacks write to exist as long as the client.

   Arguments of a callback are invalid after it returns: they are shown or copied here, never kept. */

/* Events are delivered after they happened: CVekClient_State returns the present state, not that of the
   event. After a quick disconnection and connection two consecutive callbacks may find the same state. */
static void OnConnect(CVekClient* client, void* user, const char* reason) {
  struct WindowSession* const session = user;
  const int state = CVekClient_State(client);
  char kind[32];
  snprintf(kind, sizeof kind, "connect (%d)", state);
  Log(session, kind, reason);
  NumbersChanged(session);
  session->lastState = state;
  if (session->until && state < 0) PostMessageW(session->frame, WM_CLOSE, 0, 0);
}

/* The client owns the sign-on's result, and the next sign-on overwrites it. Only this thread connects, so
   while the state is still "ready" nobody writes it. */
static void OnReady(CVekClient* client, void* user) {
  struct WindowSession* const session = user;
  if (CVekClient_State(client) != cvcs_ApReady) return;
  {
    const CVekTaskResult signOn = CVekClient_SgnResult(client);
    KeepTables(session, &signOn, "sign-on");
  }
  Log(session, "ready", "signed on");
  session->wanted[0] = session->awaited[0] = '\0'; /* requests of an earlier session are never answered */
  SendNext(session);
}

/* The session waits until this returns. So it only copies; a message box here, or reading a file, would delay
   all later events. (To do more, post a message to your own window: as with WM_CLOSE, which deletes the
   client.) */
static void OnResult(CVekClient* client, void* user, const CVekTaskResult* result) {
  struct WindowSession* const session = user;
  const char* const workId = CVekTaskResult_WorkID(result);
  (void)client;
  KeepTables(session, result, workId);
  ++session->results;
  if (session->until && session->results >= session->until && !session->unfinished)
    PostMessageW(session->frame, WM_CLOSE, 0, 0);
  if (strcmp(workId, session->awaited) != 0) return; /* of an earlier session, or the user's own query */
  session->awaited[0] = '\0';
  SendNext(session);
}

static void OnAck(CVekClient* client, void* user, int msgCode, const char* ackText) {
  (void)client;
  (void)msgCode;
  Log(user, "ack", ackText);
}

/* There may be thousands a second. Updating windows as often would leave no time for anything else; a timer
   shows the reports. */
static void OnReport(CVekClient* client, void* user, const char* reportText) {
  struct WindowSession* const session = user;
  (void)client;
  snprintf(session->latest[session->reports++ % kLatest], kReportRoom, "%s", reportText);
}

void ShowReports(struct WindowSession* session) {
  if (session->reportsShown == session->reports) return;
  SendMessageW(session->log, WM_SETREDRAW, FALSE, 0); /* once for all of them */
  if (session->reports - session->reportsShown > kLatest) {
    session->reportsShown = session->reports - kLatest;
    Log(session, "report", "... more than fit in here ...");
  }
  for (; session->reportsShown != session->reports; ++session->reportsShown)
    Log(session, "report", session->latest[session->reportsShown % kLatest]);
  SendMessageW(session->log, WM_SETREDRAW, TRUE, 0);
  InvalidateRect(session->log, NULL, FALSE);
  NumbersChanged(session);
}

bool CreateClient(struct WindowSession* session) {
  CVekClientCallbacks callbacks;
  memset(&callbacks, 0, sizeof callbacks); /* null: that event is dropped */
  callbacks.OnVekConnectEvent = OnConnect;
  callbacks.OnVekApReadyEvent = OnReady;
  callbacks.OnVekTaskResultEvent = OnResult;
  callbacks.OnVekRequestAckEvent = OnAck;
  callbacks.OnVekReportEvent = OnReport;
  session->client = CVekClient_Create_OnMessageLoop(&callbacks, session);
  return session->client.object != NULL;
}

/* ---- Sending */

/* The texts are copied before the call returns. */
void Connect(struct WindowSession* session, const char* server, const char* user, const char* password) {
  Log(session, "connecting", server);
  CVekClient_Connect(&session->client, server, "Window example", "1.0.0.0", user, "", password);
  NumbersChanged(session);
}

void Disconnect(struct WindowSession* session) {
  CVekClient_Disconnect(&session->client);
  NumbersChanged(session);
}

/* A request is two lines: "WORKID VERB" and the arguments. If this returns false, nothing was sent. */
static bool Send(struct WindowSession* session, int code, const char* verbAndArguments) {
  char request[640];
  const int room = (int)sizeof request - kRoom;
  const int verb = (int)strcspn(verbAndArguments, " ");
  const int length = snprintf(request + kRoom, (size_t)room, "w%u %.*s\n%s", ++session->requests, verb,
                              verbAndArguments, verbAndArguments + verb);
  if (length < room && CVekClient_SendVekRequest(&session->client, code, request, (unsigned)(kRoom + length)))
    return true;
  --session->requests;
  return false;
}

void Query(struct WindowSession* session, const char* text) {
  if (CVekClient_State(&session->client) != cvcs_ApReady) {
    Log(session, "not sent", "not signed on");
    return;
  }
  snprintf(session->wanted, sizeof session->wanted, "%s", text);
  SendNext(session);
}

/* Sent at once. For many orders, use a sender, which keeps the server's rate: CVekFlowCtrlSender_Create. */
void Order(struct WindowSession* session, const char* text) {
  char order[600];
  snprintf(order, sizeof order, "new %s", text);
  if (!Send(session, kOrderCode, order)) Log(session, "not sent", "not signed on");
}

/* If a query fails while the session is ready, the rate is used up. Waiting here would block the window; a
   timer retries. */
static bool SendQuery(struct WindowSession* session, const char* text) {
  if (Send(session, kQueryCode, text)) return true;
  SetTimer(session->frame, kSendTimer, kRetryMs, NULL);
  return false;
}

void SendNext(struct WindowSession* session) {
  static const char* const kStream[] = {"products", "positions", "ticks rows=40",
                                        "accounts", "orders",    "deals"};
  KillTimer(session->frame, kSendTimer);
  if (CVekClient_State(&session->client) != cvcs_ApReady) return;
  if (session->wanted[0] && !SendQuery(session, session->wanted)) return;
  session->wanted[0] = '\0';
  if (!session->stream || session->awaited[0]) return;
  snprintf(session->awaited, sizeof session->awaited, "w%u", session->requests + 1);
  if (!SendQuery(session, kStream[session->requests % (sizeof kStream / sizeof *kStream)]))
    session->awaited[0] = '\0';
}
