/* The session of a window: the client, the data its callbacks bring to the window, and the requests. */
#ifndef EXAMPLES_C_WIN32_WINDOWSESSION_H
#define EXAMPLES_C_WIN32_WINDOWSESSION_H

#include "TablesView.h"

enum { kLatest = 40, kReportRoom = 160 };

/* Must live until the client is deleted: it is the callbacks' user pointer. Callbacks and everything else run
   on the window's thread, so there are no locks. */
struct WindowSession {
  HWND frame;  /* receives WM_CLOSE after `until` results, or when no more can arrive */
  HWND log;    /* list box */
  RECT status; /* part of the frame to repaint when one of the numbers changes */
  struct TablesView tables;
  CVekClient client;
  int lastState; /* in the last connect event */
  unsigned results, tableCount, reports;
  unsigned reportsShown;             /* number of reports shown in the log, or skipped there */
  char latest[kLatest][kReportRoom]; /* the latest reports; number N is at N % kLatest */
  unsigned until;                    /* 0: forever */
  bool unfinished;                   /* more results are wanted, however many have arrived */
  bool stream;                       /* query after query */
  unsigned requests;                 /* work ids assigned */
  char wanted[512];                  /* the user's query, while it waits to be sent */
  char awaited[16];                  /* work id of the stream's unanswered query */
};

enum { kSendTimer = 1 }; /* of the frame: calls SendNext */

/* False if no client can be created. */
bool CreateClient(struct WindowSession* session);

/* Texts in code page 950, here and below. */
void Connect(struct WindowSession* session, const char* server, const char* user, const char* password);
void Disconnect(struct WindowSession* session);

/* "VERB ARGUMENTS", such as "products group=F". Waits if the server's rate is used up; one at a time. */
void Query(struct WindowSession* session, const char* text);

/* The arguments, such as "prod=TXF side=B qty=1 price=MKT". */
void Order(struct WindowSession* session, const char* text);

/* Sends waiting queries if the rate allows: the user's, then the stream's next when it is due. */
void SendNext(struct WindowSession* session);

/* Shows the reports since the last call: in a burst only the latest, because nobody can read more. */
void ShowReports(struct WindowSession* session);

void Log(struct WindowSession* session, const char* kind, const char* text);

#endif
