/* The session of a window: the client, what its callbacks bring to the window, and what is sent. */
#ifndef EXAMPLES_C_WIN32_WINDOWSESSION_H
#define EXAMPLES_C_WIN32_WINDOWSESSION_H

#include "TablesView.h"

enum { kLatest = 40, kReportRoom = 160 };

/* Must live until the client is deleted: it is the callbacks' user pointer. Callbacks and everything else run
   on the window's thread, so there are no locks. */
struct WindowSession {
  HWND frame;  /* gets WM_CLOSE when `until` results have come, or none can come any more */
  HWND log;    /* list box */
  RECT status; /* part of the frame that is to be painted again when one of the numbers changes */
  struct TablesView tables;
  CVekClient client;
  int lastState; /* in the last connect event */
  unsigned results, tableCount, reports;
  unsigned reportsShown;             /* of the reports, those that the log has, or had to leave out */
  char latest[kLatest][kReportRoom]; /* the last reports; number N is at N % kLatest */
  unsigned until;                    /* 0: for ever */
  bool unfinished;                   /* more results are wanted, however many have come */
  bool stream;                       /* query after query */
  unsigned requests;                 /* work ids that were given */
  char wanted[512];                  /* the user's query, while it waits to be sent */
  char awaited[16];                  /* work id of the stream's query that is not answered yet */
};

enum { kSendTimer = 1 }; /* of the frame: calls SendNext */

/* False when there is no client to be had. */
bool CreateClient(struct WindowSession* session);

/* Texts in code page 950, here and below. */
void Connect(struct WindowSession* session, const char* server, const char* user, const char* password);
void Disconnect(struct WindowSession* session);

/* "VERB ARGUMENTS", such as "products group=F". Waits when the server's rate is used up; one at a time. */
void Query(struct WindowSession* session, const char* text);

/* The arguments, such as "prod=TXF side=B qty=1 price=MKT". */
void Order(struct WindowSession* session, const char* text);

/* Sends what waits to be sent, if it may go: the user's query, then the stream's next when it is its turn. */
void SendNext(struct WindowSession* session);

/* The reports since the last time: in a burst the last ones only, as more than that nobody can read. */
void ShowReports(struct WindowSession* session);

void Log(struct WindowSession* session, const char* kind, const char* text);

#endif
