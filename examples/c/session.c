/* A whole session in C: sign on, ask for a table, send paced orders, wait until they are filled, ask for the
   positions, disconnect. Exits with 0 if every step succeeded.

     session_c [HOST:PORT [USER [PASSWORD]]]

   Callbacks are functions with C linkage; their data, here `struct Session`, is passed as the user pointer
   and must live until the client is deleted. They run on the library's threads: they store what arrived, and
   main waits for it. A callback's arguments are invalid after it returns, so tables are printed inside it. */
#include <stdio.h>
#include <string.h>

#include "System.h"
#include "vekapi/VekApiC.h"

enum { kOrders = 6, kRoom = 5 };

struct Session {
  CVekClient client;
  CVekFlowCtrlSender sender;
  /* Stored by callbacks, under the lock: */
  int state;
  char answered[32]; /* work id of the last answer */
  int acknowledged;
  int filled;
};

static const char* Text(const char* cp950) {
  static char text[1024]; /* used by one thread at a time: events of one client never overlap */
  return Readable(cp950 ? cp950 : "", text, sizeof text);
}

static void PrintTable(const CVekTable* table) {
  const CVekProperties properties = CVekTable_Properties(table);
  const CVekFields fields = CVekTable_Fields(table);
  const int columns = CVekFields_Count(&fields);
  int row, column;
  printf("\n%s", Text(CVekProperties_DisplayText(&properties)));
  printf(" (%s), %d records\n", CVekProperties_Name(&properties), CVekTable_RecordsCount(table));
  for (column = 0; column < columns; ++column) {
    const CVekField field = CVekFields_IndexField(&fields, column);
    const CVekProperties heading = CVekField_Properties(&field);
    printf("%s%s", column ? " | " : "", Text(CVekProperties_DisplayText(&heading)));
  }
  for (row = 0; row < CVekTable_RecordsCount(table); ++row) {
    printf("\n");
    for (column = 0; column < columns; ++column)
      printf("%s%s", column ? " | " : "", Text(CVekTable_RecordIndexField(table, row, column)));
  }
  printf("\n");
}

static void PrintTables(const CVekTaskResult* result) {
  unsigned i;
  for (i = 0; i < CVekTaskResult_TableCount(result); ++i) {
    const CVekTable table = CVekTaskResult_IndexTable(result, i);
    PrintTable(&table);
  }
}

static void OnConnect(CVekClient* client, void* user, const char* reason) {
  struct Session* const session = user;
  printf("[connect] state %d %s\n", CVekClient_State(client), Text(reason));
  LockNotes();
  session->state = CVekClient_State(client);
  UnlockNotes();
}

static void OnReady(CVekClient* client, void* user) {
  struct Session* const session = user;
  const CVekTaskResult result = CVekClient_SgnResult(client);
  PrintTables(&result);
  LockNotes();
  session->state = CVekClient_State(client);
  UnlockNotes();
}

static void OnResult(CVekClient* client, void* user, const CVekTaskResult* result) {
  struct Session* const session = user;
  (void)client;
  PrintTables(result);
  LockNotes();
  snprintf(session->answered, sizeof session->answered, "%s", CVekTaskResult_WorkID(result));
  UnlockNotes();
}

/* One line per request. Passed to the sender, which then knows what it may send next. */
static void OnAck(CVekClient* client, void* user, int msgCode, const char* ackText) {
  struct Session* const session = user;
  const char* at = ackText;
  (void)client;
  if (msgCode != 129) return;
  printf("[ack] %s\n", Text(ackText));
  CVekFlowCtrlSender_AckParser(&session->sender, msgCode, ackText);
  LockNotes();
  for (++session->acknowledged; (at = strchr(at, '\n')) != NULL; ++at) ++session->acknowledged;
  UnlockNotes();
}

static void OnReport(CVekClient* client, void* user, const char* reportText) {
  struct Session* const session = user;
  (void)client;
  printf("[report] %s\n", Text(reportText));
  if (strncmp(reportText, "fill\001", 5) != 0 || !strstr(reportText, "\001Left=0\001")) return;
  LockNotes();
  ++session->filled;
  UnlockNotes();
}

/* Waits until `done`; false if the session fails before, or nothing happens for a long time. */
static bool Wait(struct Session* session, bool (*done)(const struct Session*)) {
  bool reached;
  LockNotes();
  while (!(reached = done(session)) && session->state >= 0 && WaitForNotes()) continue;
  UnlockNotes();
  return reached;
}

static bool Ready(const struct Session* session) {
  return session->state == cvcs_ApReady;
}
static bool Answered(const struct Session* session) {
  return strcmp(session->answered, "q1") == 0;
}
static bool Filled(const struct Session* session) {
  return session->acknowledged == kOrders && session->filled == kOrders;
}

static bool Step(const char* name, bool done) {
  printf("-- %s: %s\n", name, done ? "done" : "FAILED");
  return done;
}

/* The first five bytes of a request are the library's; the text follows. False also if the server's
   rate is used up: nothing was sent then, and the same bytes may be passed again. */
static bool Query(struct Session* session, const char* verb) {
  char request[64];
  const int length = kRoom + snprintf(request + kRoom, sizeof request - kRoom, "q1 %s", verb);
  LockNotes();
  session->answered[0] = '\0';
  UnlockNotes();
  while (!CVekClient_SendVekRequest(&session->client, 128, request, (unsigned)length)) {
    if (!CVekClient_IsSessionConnected(&session->client)) return Step(verb, false);
    CVekFlowCtrl_Sleep(10);
  }
  return Step(verb, Wait(session, Answered));
}

/* No more than two orders within 100 ms, counted from their acknowledgements: the sender holds the others and
   sends them when the rate allows. */
static bool Orders(struct Session* session) {
  int i;
  CVekFlowCtrlSender_SetFlowCtrl(&session->sender, 2, 100);
  for (i = 0; i < kOrders; ++i) {
    char order[64];
    const int length =
        kRoom + snprintf(order + kRoom, sizeof order - kRoom, "o%d new\nprod=TXF side=B qty=1 price=MKT", i);
    CVekFlowCtrlSender_SendVekRequest(&session->sender, order, (unsigned)length);
  }
  printf("-- %u orders are held\n", CVekFlowCtrlSender_PendingCount(&session->sender));
  return Step("orders", Wait(session, Filled));
}

static bool Run(struct Session* session, int argc, char** argv) {
  const char* const server = argc > 1 ? argv[1] : "127.0.0.1:9000";
  const char* const user = argc > 2 ? argv[2] : "trader";
  const char* const password = argc > 3 ? argv[3] : "secret";
  session->state = cvcs_Connecting;
  CVekClient_Connect(&session->client, server, "C example", "1.0.0.0", user, "", password);
  return Step("sign-on", Wait(session, Ready)) && Query(session, "products") && Orders(session) &&
         Query(session, "positions");
}

int main(int argc, char** argv) {
  struct Session session;
  CVekClientCallbacks callbacks;
  bool done;
  memset(&session, 0, sizeof session);
  memset(&callbacks, 0, sizeof callbacks); /* null: that event is dropped */
  callbacks.OnVekConnectEvent = OnConnect;
  callbacks.OnVekApReadyEvent = OnReady;
  callbacks.OnVekTaskResultEvent = OnResult;
  callbacks.OnVekRequestAckEvent = OnAck;
  callbacks.OnVekReportEvent = OnReport;
  PrepareConsole();
  printf("VekApi %s\n", CVekApi_Version());
  session.client = CVekClient_Create(&callbacks, &session);
  session.sender = CVekFlowCtrlSender_Create(&session.client);
  done = Run(&session, argc, argv);
  CVekClient_Disconnect(&session.client); /* no callback follows */
  CVekFlowCtrlSender_Delete(&session.sender);
  CVekClient_Delete(&session.client);
  printf(done ? "session: every step came through\n" : "session: FAILED\n");
  return done ? 0 : 1;
}
