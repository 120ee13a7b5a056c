// Sessions. A session stays signed on to a server, reconnects when a link ends, paces what is sent, and
// reports exactly one final fate of every request. C99 and C++. The conventions of VekApiC.h (handles, texts,
// bool, calls, errors) apply, and the following.
//
// Contents. A text of code 128 begins with a work id and a blank, and its result carries that id. Requests of
// code 129 have two lines and are acknowledged by one line each. Everything else is opaque. The session owns
// its connection; nobody else sends over it. It never sends a text twice, and never sends a text accepted for
// one link over the next.
//
// Structures begin with their size in bytes, set by the caller. A library that knows fewer members ignores
// the rest; one that knows more treats the missing ones as 0. A size that ends inside a required member gives
// vsr_BadArgument.
//
// Results. Unless stated otherwise, an int32_t result is 0 or a reason (vsr_...); a call that returns a
// reason had no effect. A null handle, or a null address where one is required, gives vsr_BadArgument, 0 or
// null.
//
// Texts passed in are copied before the function returns; those without a length end with NUL. Unless stated
// otherwise, null is "". The server's texts are passed on as received, or converted to code page 950 if the
// server marked them as UTF-8: CVekApi_ToUtf8. The library's texts (CVekApi_Text) and the system's (detail)
// are UTF-8, except system texts on Windows, which are in the system's code page.
//
// Threads. Every function may be called on any thread and inside every callback. CVekSession_Delete must not
// run together with another function on the same session on another thread. Only CVekSession_Delete, _Close,
// _Open and _Next wait for a callback, and callbacks run only where the delivery (vsd_...) says.
//
// Times are in milliseconds, or in nanoseconds if the name ends in Ns. Where 0 means "never", the maximum is
// 2147483647 ms; anything above is "never" too.
#ifndef VEKAPI_VEKSESSIONC_H
#define VEKAPI_VEKSESSIONC_H

#include <stdbool.h>
#include <stdint.h>

#include "vekapi/VekApiC.h"
#include "vekapi/VekExport.h"

#ifdef __cplusplus
extern "C" {
#endif

// A session, owned by the caller: CVekSession_Delete.
typedef struct CVekSession {
  void* object;  // null: a null handle
} CVekSession;

// ---------------------------------------------------------------------------------------------------------
// Numbers. CVekApi_Text describes them in words.

// States of a session. Requests are accepted in vss_Up; in vss_Resyncing only those with vsg_Resync.
enum {
  vss_Closed,      // new, or after CVekSession_Close
  vss_Waiting,     // no link; the next attempt follows after a delay
  vss_Connecting,  // a link is being opened
  vss_SigningOn,   // the server accepted the connection
  vss_Resyncing,   // signed on; waiting for the results of the queries of CVekSession_AddResync
  vss_Up,          // requests are accepted
  vss_Draining,    // CVekSession_Close waits for outstanding requests
  vss_Refused,     // the server refused the user; no retry. While the link exists CVekSession_ChangePassword
                   // works; then call CVekSession_SetPassword and CVekSession_Open
  vss_Stopped      // gave up: CVekSession_Open starts over
};

// Fates of a request.
enum {
  vsf_None,       // not known yet
  vsf_Refused,    // never accepted; returned by CVekSession_Submit as its reason, never reported by an event
  vsf_NeverSent,  // no byte of it has left this process, and none will: safe to repeat
  vsf_Left,       // all of it was passed to the link; its code has no answers
  vsf_Acknowledged,  // code 129: its line arrived
  vsf_Answered,      // code 128: its result arrived
  vsf_TimedOut,      // sent, the link is alive, but no answer within answerMs: it may still be executed; ask
                     // before repeating
  vsf_Unknown        // bytes of its message left, then the link ended: it may have been executed; ask before
                     // repeating
};

// Kinds of events.
enum {
  vse_State = 1,  // the state changed
  vse_Fate,       // the final fate of a request; one for each ticket
  vse_Late,       // an answer to a request that already had its fate, which does not change
  vse_Report,     // a report of the server (code 130)
  vse_Stray,      // an answer to no request, or a message of code 131 or an unknown code
  vse_Gate,  // requests refused by vsm_Try as vsr_TooFast or vsr_LinkFull may be tried again; one event for
             // all
  vse_Trace  // a message sent or received (CVekSession_SetTrace)
};

// Delivery: the thread that events run on.
enum {
  vsd_Threads,  // onEvent runs on the library's threads, or inside _Open, _Close and _Delete on the caller's
                // thread; one at a time. A slow callback delays later events and nothing else
  vsd_Loop,     // onEvent runs on the thread that created the session, in its message loop
                // (CVekMessageLoop_Dispatch, or on Windows any loop of that thread). Nothing waits for it
  vsd_Poll      // no callback: take events with CVekSession_Next
};

// Modes: what to do with a request that cannot be sent at once.
enum {
  vsm_Try,  // refuse it: vsr_TooFast, vsr_LinkFull
  vsm_Hold  // hold it for at most holdMs
};

// How acknowledgement lines of code 129 are matched to requests.
enum {
  vsa_InOrder,  // line k of a link, as CVekFlowCtrlSender_AckParser counts them, is for request k
  vsa_ByWorkId  // each line begins with its request's work id; missing and surplus lines do no harm
};

// Flags of a session (CVekSessionConfig.flags), combined by addition.
enum {
  vsc_RetryByHand = 1,    // stay in vss_Waiting until CVekSession_RetryIn is called
  vsc_ResyncByHand = 2,   // stay in vss_Resyncing until the queries are answered and CVekSession_ResyncDone
                          // was called
  vsc_CloseOnTimeout = 4  // end the link if a request times out and no byte was received since it was sent
};

// Flags of a request or an event (flags), combined by addition.
enum {
  vsg_Resync = 1,     // accepted in vss_Resyncing too. Event: the request had this flag
  vsg_Urgent = 2,     // sent before all held requests without it
  vsg_Duplicate = 4,  // the work id may be in use, or have been used on this link. Answers to equal ids go to
                      // the oldest request
  vsg_Outbound = 8,   // vse_Trace: sent, not received
  vsg_Packet = 16,    // vse_Trace: text is a whole packet, header first (vtl_Packets)
  vsg_LowFirst = 32,  // vse_Trace: numbers in the packet are low byte first
  vsg_HighFirst = 64  // vse_Trace: they are high byte first; neither flag: not known yet
};

// Trace levels (CVekSession_SetTrace, CVekClient_SetTrace).
enum {
  vtl_None,
  vtl_Heads,     // code, length and direction of each message
  vtl_Messages,  // and their bytes, without header, long messages joined; passwords as eight stars
  vtl_Packets    // packets as sent and received, header first, long messages in pieces; passwords as eight
                 // stars, lengths adjusted; detail has the fields. For CVekApi_RecordOf
};

// What CVekApi_Text describes.
enum { vst_State, vst_Fate, vst_Reason, vst_ClientState };

// Reasons.
enum {
  // why a link ended; also of the fates that follow from it
  vsr_BadSetting = 101,     // invalid setting of the endpoint
  vsr_ConnectFailed = 102,  // detail says why
  vsr_ConnectTimeout = 103,
  vsr_ConnectRefused = 104,  // the server refused the connect request; detail has its text
  vsr_SignOnTimeout = 105,
  vsr_SignOnRefused = 106,   // detail has the server's text. Leads to vss_Refused
  vsr_SignOnTooLong = 107,   // identity and password are too long. Leads to vss_Refused
  vsr_LinkBroken = 108,      // detail says why
  vsr_BadStream = 109,       // received bytes are not valid packets
  vsr_Silent = 110,          // nothing was received in time
  vsr_UnknownServer = 111,   // no answer to the connect request
  vsr_ResyncFailed = 112,    // a resync query was not answered in time, or CVekSession_ResyncDone said so
  vsr_AcksMissing = 113,     // requests that timed out occupy all slots of the rate
  vsr_SlowConsumer = 114,    // maxEvents events are waiting for the application
  vsr_ShortLinks = 115,      // stopped: maxShortLinks links in a row ended early
  vsr_NoMoreAttempts = 116,  // stopped: maxAttempts reached
  vsr_Closed = 117,          // CVekSession_Close or _Delete; of a client: disconnected
  // finer reasons (CVekEvent.cause, CVekClient_LinkReason)
  vsr_HostNotFound = 121,   // unknown host name
  vsr_LookupFailed = 122,   // no name server answered
  vsr_LookupTimeout = 123,  // name look-up timed out
  vsr_NobodyListens = 124,  // the host refused the connection
  vsr_NoRoute = 125,        // the network or host cannot be reached
  vsr_PeerTimeout = 126,    // the peer did not acknowledge sent data, according to the system
  vsr_Reset = 127,          // the peer, or something in between, reset the connection
  vsr_ClosedByPeer = 128,   // the peer closed the connection
  vsr_NoThread = 129,       // the system could not start a thread for the link
  vsr_NoDescriptor = 130,   // too many open files and connections
  vsr_GatewaySilent = 131,  // shared memory: the gateway does not answer
  vsr_BadRings = 132,       // shared memory: invalid contents
  vsr_BadApName = 133,      // the application's name is too long
  vsr_LongMessage = 134,    // a received message exceeded mm= of the setting
  vsr_LooksHttp = 141,      // not packets: looks like an HTTP answer
  vsr_LooksTls = 142,       // TLS
  vsr_LooksSsh = 143,       // SSH
  vsr_LooksMail = 144,      // the greeting of a mail or FTP server
  vsr_LooksJson = 145,      // JSON
  vsr_LooksText = 146,      // plain text
  vsr_LooksZeroes = 147,    // zeroes only
  // of a request
  vsr_NotUp = 201,        // refused: not accepted in this state
  vsr_BadText = 202,      // refused: empty or too long, unusable work id, or lines not valid for its code
  vsr_DuplicateId = 203,  // refused: a request with this work id has no fate yet, or timed out on this link
  vsr_TooFast = 204,      // refused: the rate is used up, or other requests are waiting
  vsr_QueueFull = 205,    // refused: maxHeld requests are held
  vsr_LinkFull = 206,     // refused, or not sent: the link accepts nothing at the moment
  vsr_NoMemory = 207,     // refused, or why a link ended; of an answer: its text and result were lost
  vsr_Expired = 208,      // not sent: held for holdMs
  vsr_Withdrawn = 209,    // not sent: CVekSession_Withdraw
  vsr_Replaced = 210,     // not sent: replaced by another request
  vsr_NoAnswer = 211,     // timed out
  vsr_EmptyAck = 212,     // acknowledged by a line without text
  // of a call
  vsr_TooLate = 301,     // the request is on its way or has its fate
  vsr_Busy = 302,        // not allowed in this state, or a password change is in progress
  vsr_BadArgument = 303  // null address, wrong size, number out of range, or deleted handle
};

// ---------------------------------------------------------------------------------------------------------
// Events

// One event. All members are set; those that do not apply are 0 or "". The event, its texts and its result
// are borrowed: valid until the callback returns; from CVekSession_Next, until the next call of that function
// or the deletion of the session.
typedef struct CVekEvent {
  uint32_t size;       // of the event, as this library knows it
  int32_t kind;        // vse_...
  int32_t state;       // vss_... of the session, as of this event
  int32_t fate;        // vsf_...; vse_Late: the fate reported before
  int32_t reason;      // vsr_...: why a link ended, or why the fate is not the desired one; 0: none
  int32_t code;        // of the message: 128 to 131 or another. 2: a password change
  uint32_t flags;      // vsg_...
  uint32_t link;       // number of its link, counted from 1; 0: before the first
  uint32_t attempt;    // vse_State: number of the attempt since the last stable link, from 1
  uint32_t endpoint;   // number of the endpoint in the order added, from 0
  int32_t waitMs;      // vss_Waiting: time until the next attempt; -1: until CVekSession_RetryIn. vse_Gate: 0
  uint32_t neverSent;  // vse_State after a link ended: how many of its requests became vsf_NeverSent
  uint32_t unknown;    // and how many became vsf_Unknown
  uint64_t ticket;     // of the request; 0: none
  uint64_t tag;        // as given with the request
  int64_t atNs;        // monotonic time of the event itself, not of its delivery; arbitrary origin
  int64_t unixNs;      // the same as wall-clock time, since 1970
  int64_t submittedNs;  // monotonic: when the request was submitted
  int64_t handedNs;     // monotonic: when it was handed to the link; 0: no link accepted it
  const char* workId;   // of the request or the answer
  const char* text;  // the server's bytes: result, acknowledgement line, report, message. Ends with NUL, may
                     // contain NUL. vss_Resyncing, vss_Up: the sign-on result
  const char* detail;     // the system's text, or the server's reason
  uint32_t textLength;    // bytes of text, without the final NUL
  CVekTaskResult result;  // vsf_Answered, vse_Late and vse_Stray of code 128, and the sign-on result: parsed;
                          // otherwise null
  int32_t cause;          // vse_State: the finest vsr_... known; `reason` if no finer one is
} CVekEvent;

// `session` is the address of a temporary handle, valid until the callback returns; `user` is the pointer
// from the configuration. Any function may be called inside, including CVekSession_Delete (with either
// handle). The callback must not wait for another event of the same session (CVekSession_InCallback).
typedef void (*CVekOnEvent)(CVekSession* session, void* user, const CVekEvent* event);

// ---------------------------------------------------------------------------------------------------------
// Configuration

// CVekSession_Defaults sets the values in brackets.
typedef struct CVekSessionConfig {
  uint32_t size;          // of this structure
  uint32_t flags;         // vsc_... [0]
  const char* apName;     // name of the application, for the server; up to 255 bytes ["VekSession"]
  const char* apVersion;  // four numbers ["1.0.0.0"]
  const char* id1;        // user identity: id1/id2 []
  const char* id2;        // may be empty []
  const char* idPrefix;   // prefix of generated work ids, up to 8 letters or digits []
  char idSeparator;  // vsa_ByWorkId: ends the work id in an acknowledgement line, as the end of the line does
                     // [' ']
  int32_t delivery;  // vsd_... [vsd_Threads]
  int32_t ackRule;   // vsa_... [vsa_InOrder]
  int32_t rateCount;  // code 129: at most rateCount requests
  int32_t rateMs;     // within any rateMs milliseconds; either below 1: no pacing [0, 0]

  // A round tries each endpoint once, starting with the last one that worked. Before round n after the first,
  // n from 0, the session waits a random time between d/2 and d, d = min(maxDelayMs, firstDelayMs * 2^n). A
  // link that was up for stableMs resets n and the counts of attempts and short links.
  uint32_t maxAttempts;    // attempts after the first; 0: no reconnecting; 0xFFFFFFFF: forever [0xFFFFFFFF]
  uint32_t firstDelayMs;   // [250]
  uint32_t maxDelayMs;     // [30000]
  uint32_t stableMs;       // [10000]
  uint32_t maxShortLinks;  // this many links in a row that were up for less than stableMs lead to
                           // vss_Stopped: probably two programs displace each other. 0: never [5]

  // Time limits; 0: never.
  uint32_t connectMs;  // from the attempt to the server's answer to the connect request. The client's own
                       // limits (45 s) also apply [20000]
  uint32_t signOnMs;   // from that answer to the sign-on result [20000]
  uint32_t resyncMs;   // from the sign-on result to vss_Up [60000]
  uint32_t holdMs;     // how long a request is held; CVekSubmit may override it [0]
  uint32_t answerMs;   // how long to wait for an answer; CVekSubmit may override it [10000]
  uint32_t silenceMs;  // a link is ended after this time without a byte. Servers do not answer heartbeats:
                       // below 60000 set `probe` [65000]

  uint32_t maxHeld;    // most requests held at a time, 1 to 10000000 [100000]
  uint32_t maxEvents;  // most events waiting for the application (vsd_Loop, vsd_Poll), at least 16. Above it
                       // the link is ended, because fates and reports are never dropped [100000]
  uint32_t remember;   // reported fates whose late answers are still recognised, besides those of the current
                       // link [1000]
  const char* probe;   // query sent after half of silenceMs without a byte; null: none [null]

  CVekOnEvent onEvent;  // not called with vsd_Poll; null: events are dropped [null]
  void* user;           // [null]
  uint64_t seed;        // of the random delays and generated work ids; 0: from the system [0]
} CVekSessionConfig;

// Fills the first `size` bytes of `config` with defaults.
VEKAPI_FLAT void CVekSession_Defaults(CVekSessionConfig* config, uint32_t size);

// Returns a new session, in vss_Closed and without endpoints. On failure a null handle, with the reason in
// `reason` (may be null): vsr_BadArgument for an invalid configuration, vsr_NoMemory, or vsr_Busy if the
// thread cannot have a message loop. The configuration is copied.
VEKAPI_FLAT CVekSession CVekSession_Create(const CVekSessionConfig* config, int32_t* reason);

// Ends the link immediately. Held and outstanding requests get their fates, with reason vsr_Closed, and a
// state event reports vss_Closed, before the function returns. With vsd_Threads, and with vsd_Loop on the
// session's thread, these events are delivered inside it. With vsd_Poll they are lost: call CVekSession_Close
// and take them first. Nothing is called afterwards. If called inside a callback, that callback continues,
// but must not use the session any more. The handle becomes null.
VEKAPI_FLAT void CVekSession_Delete(CVekSession* session);

// ---------------------------------------------------------------------------------------------------------
// The link

// Adds an endpoint: "HOST:PORT" or ":KIND:PARAMETERS", as for CVekClient_Connect. A setting is checked only
// when it is tried. May be called at any time; at most 64 endpoints.
VEKAPI_FLAT int32_t CVekSession_AddEndpoint(CVekSession* session, const char* setting);

// Adds a query that is sent on every new link before vss_Up, behind a work id generated by the session. Its
// result is reported as a fate with a ticket, tag 0 and vsg_Resync. Queries are sent in the order added. May
// be called at any time, at most 64 queries; takes effect with the next link.
VEKAPI_FLAT int32_t CVekSession_AddResync(CVekSession* session, const char* query);

// Sets the password for later attempts. It is kept for reconnecting and erased when the session becomes
// vss_Closed, vss_Refused or vss_Stopped, so set it before each CVekSession_Open, and again after a password
// change.
VEKAPI_FLAT int32_t CVekSession_SetPassword(CVekSession* session, const char* password);

// Starts to connect. Allowed in vss_Closed, vss_Refused and vss_Stopped (otherwise vsr_Busy), with at least
// one endpoint (otherwise vsr_BadArgument).
VEKAPI_FLAT int32_t CVekSession_Open(CVekSession* session);

// In vss_Waiting: makes the next attempt in `ms` milliseconds, replacing the planned delay. vsr_Busy in other
// states.
VEKAPI_FLAT int32_t CVekSession_RetryIn(CVekSession* session, uint32_t ms);

// vsc_ResyncByHand: the application has finished its part of resyncing on link `link`. If `good`, vss_Up
// follows as soon as all resync queries are answered; otherwise the link ends with vsr_ResyncFailed.
// vsr_TooLate if that link is not resyncing.
VEKAPI_FLAT int32_t CVekSession_ResyncDone(CVekSession* session, uint32_t link, bool good);

// Ends the session. If drainMs is above 0 and requests are held or outstanding, held ones become
// vsf_NeverSent and the session waits in vss_Draining for the others, at most that long; the function returns
// at once and vss_Closed is reported by an event. Called again meanwhile, it can only shorten the wait. If
// drainMs is 0, the link has ended and the state is vss_Closed when it returns; with vsd_Loop and vsd_Poll
// the events are still to be delivered.
VEKAPI_FLAT void CVekSession_Close(CVekSession* session, uint32_t drainMs);

// ---------------------------------------------------------------------------------------------------------
// Requests

// A request. Its text is opaque except for this: code 128 is "ID REST"; code 129 is two lines, "ID REST" LF
// "REST", with exactly one line feed. The session does not know answers to other codes (4 to 4095): their
// fate is vsf_Left.
typedef struct CVekSubmit {
  uint32_t size;       // of this structure
  int32_t code;        // of the message: 128, 129 or another
  int32_t mode;        // vsm_...
  uint32_t flags;      // vsg_Resync, vsg_Urgent, vsg_Duplicate
  const char* workId;  // null: one is generated and put in front of the text, followed by a blank. Otherwise
                       // the id with which `text` already begins: up to 31 bytes without blanks, line ends or
                       // commas. "": none; then code 128 cannot be answered and becomes vsf_Left, and
                       // vsa_ByWorkId refuses code 129
  const char* text;    // no final NUL required
  uint32_t textLength;  // bytes of text, up to 16777216
  uint32_t holdMs;      // 0: as configured; 0xFFFFFFFF: no limit
  uint32_t answerMs;    // counted from when the link accepted it. 0: as configured; 0xFFFFFFFF: no limit
  uint64_t replaces;    // ticket of a held request that becomes vsf_NeverSent when this one is accepted;
                        // vsr_TooLate if it is no longer held. 0: none. The new one goes to the queue's end
  uint64_t tag;         // for the caller's use
} CVekSubmit;

// Outcome of CVekSession_Submit.
typedef struct CVekReceipt {
  uint32_t size;    // of this structure
  int32_t waitMs;   // vsr_TooFast: how long to wait. Held: time until the rate allows the next request. -1:
                    // until an acknowledgement, or unknown. 0: sent
  uint64_t ticket;  // from 1, unique within the session; 0: refused
  uint32_t ahead;   // if held: requests that will be sent before it
  uint32_t link;    // number of the link it is for
  char workId[32];  // ends with NUL
} CVekReceipt;

// Sends or holds a request. 0: accepted, and exactly one event of kind vse_Fate will report its fate,
// possibly before this function returns. Otherwise the request is vsf_Refused for that reason: nothing of it
// was sent or will be. A request that is sent at once costs no allocation and no thread change. If another
// thread is sending, the request is queued and sent by that thread. `receipt` may be null.
VEKAPI_FLAT int32_t CVekSession_Submit(CVekSession* session, const CVekSubmit* request, CVekReceipt* receipt);

// Asks the server to change a password; each text is limited to 255 bytes. Allowed in vss_Up, and in
// vss_Refused while the link exists (otherwise vsr_NotUp); one at a time (otherwise vsr_Busy). Its fate is an
// event of code 2 with `tag` and the server's text, which is for display: the fate does not say whether the
// change succeeded. `receipt` may be null.
VEKAPI_FLAT int32_t CVekSession_ChangePassword(CVekSession* session, const char* user, const char* before,
                                               const char* after, uint64_t tag, CVekReceipt* receipt);

// Withdraws a held request: it becomes vsf_NeverSent, vsr_Withdrawn. vsr_TooLate if it is not held.
VEKAPI_FLAT int32_t CVekSession_Withdraw(CVekSession* session, uint64_t ticket);

// Generates a work id not used before by this session, for programs that store it before submitting. `id` has
// space for 32 bytes. "" for a null handle.
VEKAPI_FLAT void CVekSession_NewWorkId(CVekSession* session, char id[32]);

// Paces code 129: `count` requests within any `ms` milliseconds, as the server counts them; either below 1:
// no pacing. Also applies to later links. Forgets acknowledged requests, not outstanding ones.
VEKAPI_FLAT int32_t CVekSession_SetRate(CVekSession* session, int32_t count, int32_t ms);

// How long a request of that code would have to wait now. 0: not at all; -1: until an acknowledgement, or the
// session is not up.
VEKAPI_FLAT int32_t CVekSession_WaitMs(CVekSession* session, int32_t code);

// ---------------------------------------------------------------------------------------------------------
// Taking events (vsd_Poll)

// Takes the next event. 1: `event` is filled; 0: none within `timeoutMs` (0: does not wait; negative: waits
// forever); -1: not a polled session, or a null address. The caller sets `event->size`. One thread at a time.
VEKAPI_FLAT int32_t CVekSession_Next(CVekSession* session, int32_t timeoutMs, CVekEvent* event);

// A descriptor that is readable (Windows: the HANDLE of an event that is set) while events wait. Owned by the
// session and valid for its lifetime; do not read, reset or close it. -1 (Windows: 0) if there is none.
// vsd_Poll only.
VEKAPI_FLAT intptr_t CVekSession_WaitHandle(CVekSession* session);

// ---------------------------------------------------------------------------------------------------------
// Results, statistics, traces, texts

// True on a thread that is inside a callback of this session.
VEKAPI_FLAT bool CVekSession_InCallback(CVekSession* session);

// Returns a copy of an event's result, owned by the caller: CVekTaskResult_Free. Null if the event has none,
// or there is no memory.
VEKAPI_FLAT CVekTaskResult CVekSession_KeepResult(CVekSession* session, const CVekEvent* event);

// Frees a result returned by CVekSession_KeepResult, and no other. The handle becomes null.
VEKAPI_FLAT void CVekTaskResult_Free(CVekTaskResult* result);

// Counters since the session was created. The caller sets `size`.
typedef struct CVekSessionStats {
  uint32_t size;         // of this structure
  uint32_t held;         // requests held now
  uint32_t heldMost;     // most requests held at a time
  uint32_t out;          // outstanding now: sent, without a fate
  uint32_t events;       // waiting for the application now
  uint32_t links;        // attempts to connect
  uint32_t shortLinks;   // in a row, until now
  uint64_t fates[8];     // number of each vsf_...; [vsf_Refused]: returned by CVekSession_Submit
  uint64_t late;         // events of kind vse_Late
  uint64_t stray;        // events of kind vse_Stray
  uint64_t gateWaits;    // times the first held request had to wait for the rate
  uint64_t bytesIn;      // of all links together
  uint64_t bytesOut;     // of all links together
  uint64_t messagesIn;   // of all links together
  uint64_t messagesOut;  // of all links together
  int64_t upNs;          // time in vss_Up, all links together
} CVekSessionStats;

// Fills `stats`. The caller sets its size.
VEKAPI_FLAT void CVekSession_Stats(CVekSession* session, CVekSessionStats* stats);

// Distribution of answer times, counted from when the link accepted the request, for code 128 or 129.
// counts[i] is the number of answers between 2^(i/8) and 2^((i+1)/8) us; shorter ones are in counts[0],
// longer ones in the last. Fills at most `room` counts and returns how many there are; 0 for other codes.
VEKAPI_FLAT uint32_t CVekSession_RoundTrips(CVekSession* session, int32_t code, uint64_t* counts,
                                            uint32_t room);

// Reports messages sent and received as events of kind vse_Trace; `level` is vtl_... Bytes are descrambled.
// Codes below 4 belong to the link itself: 0 connect, 1 heartbeat, 2 sign-on and password change.
VEKAPI_FLAT void CVekSession_SetTrace(CVekSession* session, int32_t level);

// The finest reason known (vsr_..., listed in docs/errors.md) why the client's last link ended, could not be
// opened or is in trouble (cvcs_SgnError, _ConnectError, _UnknownServer, _HeartbeatTimeout). 0 while the link
// is well, before the first link, and for a null handle. Set before the corresponding event, which a client
// on a message loop may receive later.
VEKAPI_FLAT int32_t CVekClient_LinkReason(const CVekClient* client);

// Details in addition to CVekApi_Text, in English: the invalid word of the setting, the system's text, what a
// stream looked like; or the server's own text, as received. Arguments and result as for CVekApi_ToUtf8.
VEKAPI_FLAT uint32_t CVekClient_LinkDetail(const CVekClient* client, char* out, uint32_t room);

// A trace callback. `client` is the address of a temporary handle, valid until the callback returns. `event`
// is of kind vse_Trace, or vse_State for a change of the link: vss_Connecting (detail: the setting),
// vss_SigningOn, vss_Up, vss_Refused, vss_Closed (disconnected or deleted), vss_Stopped (ended otherwise).
// Its reason, cause and detail are those of CVekClient_LinkReason and _LinkDetail. Its texts are valid until
// the callback returns. If the link refuses a packet that was already traced, an event without text follows
// whose detail says so.
//
// Called wherever a packet is sent or received: on the library's threads and on sending threads, also
// concurrently, and also for a client on a message loop. Any function may be called inside, including
// CVekClient_Delete; but during a send of a CVekFlowCtrlSender, only what CVekOnFlowCtrlFree may call.
// Packets sent inside are traced too.
typedef void (*CVekOnTrace)(CVekClient* client, void* user, const CVekEvent* event);

// Traces every packet of the client, including heartbeats and sign-on. `level` is vtl_...; vtl_Messages has
// the effect of vtl_Packets. A null callback or vtl_None ends the trace. Replaces the previous trace; its
// calls in progress on other threads may continue, so its `user` must live until they have returned. May be
// called at any time, on any thread. Nothing is called after CVekClient_Delete. False, with nothing changed,
// for a null handle or without memory.
VEKAPI_FLAT bool CVekClient_SetTrace(CVekClient* client, CVekOnTrace onTrace, void* user, int32_t level);

// Converts an event to its bytes in a recording (docs/recordings.md), a file that vekdump reads: packets of
// vtl_Packets, states, and fates with the time the request was held. Returns the number of bytes needed, and
// writes them only if `room` suffices. 0 if the event is not recorded, or there is no memory.
VEKAPI_FLAT uint32_t CVekApi_RecordOf(const CVekEvent* event, char* out, uint32_t room);

// The bytes at the start of a recording. `out`, `room` and the result as for CVekApi_RecordOf.
VEKAPI_FLAT uint32_t CVekApi_RecordHeader(char* out, uint32_t room);

// A number in words. `what`: vst_...; `value`: vss_..., vsf_..., vsr_... or cvcs_...; `language`: 0 English,
// 1 Traditional Chinese. UTF-8, valid as long as the library is loaded. "" for unknown numbers and for reason
// 0 (none).
VEKAPI_FLAT const char* CVekApi_Text(int32_t what, int32_t value, int32_t language);

// Converts code page 950 to UTF-8. Returns the number of bytes needed, without the NUL. Writes at most `room`
// bytes, including the NUL, and never part of a character. Invalid bytes become replacement characters.
VEKAPI_FLAT uint32_t CVekApi_ToUtf8(const char* big5, uint32_t length, char* out, uint32_t room);

// Describes an event in one line for a log, in English, without a line end and without the event's text.
// `out`, `room` and the result as for CVekApi_ToUtf8.
VEKAPI_FLAT uint32_t CVekApi_Describe(const CVekEvent* event, char* out, uint32_t room);

#ifdef __cplusplus
}
#endif

#endif  // VEKAPI_VEKSESSIONC_H
