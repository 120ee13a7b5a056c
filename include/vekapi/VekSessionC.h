// A session: one object that keeps itself signed on to a server, paces what is sent, and tells exactly one
// final fate of every request. C99 and C++. The conventions of VekApiC.h (handles, texts, bool, calls,
// errors) hold here too, and these:
//
// What it knows. A text of code 128 begins with a work id and a blank, and its result carries that id;
// requests of code 129 are two lines each and are acknowledged by a line each; all else is opaque. It owns
// its connection, which nobody else sends over. It never sends a text twice, and never sends one that was
// accepted for one link over the next.
//
// Structures begin with their size in bytes, which the caller sets: a library that knows fewer members
// ignores the rest, one that knows more takes 0 for those that are missing. A size that ends inside a member
// that has to be there is vsr_BadArgument.
//
// Results of type int32_t are 0, or a reason (vsr_...) when nothing else is said. After a reason nothing was
// done: nothing is half entered. A null handle, or a null address where one is needed, gives vsr_BadArgument,
// 0 or null.
//
// Texts that are handed in are copied before the function returns and end with NUL where no length goes with
// them; null is "" unless said otherwise. The server's texts are handed out as they came, or in code page 950
// where the server marked them as UTF-8: CVekApi_ToUtf8. Texts of the library (CVekApi_Text) and of the
// system (detail) are UTF-8, but for system texts on Windows, which are in the system's code page.
//
// Threads. Every function may be called on any thread, and inside every callback, CVekSession_Delete too;
// only CVekSession_Delete must not run together with another function on that session on another thread. No
// function waits for a callback but CVekSession_Delete, _Close, _Open and _Next; none calls the application
// but what the delivery says.
//
// Times are milliseconds, or nanoseconds where the name ends in Ns. Where 0 means "never", a time that is
// given may have up to 2147483647 ms; more is taken as never.
#ifndef VEKAPI_VEKSESSIONC_H
#define VEKAPI_VEKSESSIONC_H

#include <stdbool.h>
#include <stdint.h>

#include "vekapi/VekApiC.h"
#include "vekapi/VekExport.h"

#ifdef __cplusplus
extern "C" {
#endif

// Belongs to the caller, who deletes it.
typedef struct CVekSession {
  void* object;  // null: a null handle
} CVekSession;

// ---------------------------------------------------------------------------------------------------------
// Numbers. CVekApi_Text has words for them.

// What a session is doing. Requests are taken in vss_Up, and those with vsg_Resync in vss_Resyncing too.
enum {
  vss_Closed,      // new, or after CVekSession_Close
  vss_Waiting,     // no link; the next attempt comes after a delay
  vss_Connecting,  // a link is being made
  vss_SigningOn,   // the server accepted the connection
  vss_Resyncing,   // signed on; the queries of CVekSession_AddResync are being answered
  vss_Up,          // requests are taken
  vss_Draining,    // CVekSession_Close waits for what is out
  vss_Refused,     // the server did not let the user in: no retry; CVekSession_ChangePassword works while the
                   // link is there, then CVekSession_SetPassword and CVekSession_Open
  vss_Stopped      // given up: CVekSession_Open begins anew
};

// What became of a request.
enum {
  vsf_None,          // not known yet
  vsf_Refused,       // never accepted; only CVekSession_Submit answers so, by its reason: no event tells it
  vsf_NeverSent,     // no byte of it has left this process, and none will: safe to repeat
  vsf_Left,          // all of it was handed to the link, and its code has no answer
  vsf_Acknowledged,  // code 129: its line came
  vsf_Answered,      // code 128: its result came
  vsf_TimedOut,      // the link has it and lives, nothing came within answerMs: it may still act; ask before
                     // repeating
  vsf_Unknown  // bytes of its message left, then the link ended: it may have acted; ask before repeating
};

// What an event is about.
enum {
  vse_State = 1,  // the state changed
  vse_Fate,       // the one and only fate of a ticket
  vse_Late,       // an answer to a request whose fate had been told; changes nothing
  vse_Report,     // the server reports (code 130)
  vse_Stray,      // an answer that belongs to no request, a message of code 131, or one of an unknown code
  vse_Gate,  // what vsm_Try refused as vsr_TooFast or vsr_LinkFull may be tried again; one event for all of
             // them
  vse_Trace  // a message of the wire (CVekSession_SetTrace)
};

// On which thread events come.
enum {
  vsd_Threads,  // onEvent on the library's threads, or inside _Open, _Close and _Delete on the caller's; one
                // at a time. A slow one holds up what comes behind it, nothing else
  vsd_Loop,     // onEvent on the thread that created the session, when it runs its message loop
                // (CVekMessageLoop_Dispatch, or on Windows any loop of that thread). Nobody waits for it
  vsd_Poll      // no callback: CVekSession_Next takes them
};

// What becomes of a request that may not go at once.
enum {
  vsm_Try,  // it is refused: vsr_TooFast, vsr_LinkFull
  vsm_Hold  // it waits, up to its holdMs
};

// How acknowledgements of code 129 find their requests.
enum {
  vsa_InOrder,  // line k is for request k of that link
  vsa_ByWorkId  // a line begins with the request's work id: missing and surplus lines mislead nothing
};

// Of a session (CVekSessionConfig.flags), to be added.
enum {
  vsc_RetryByHand = 1,    // vss_Waiting lasts until CVekSession_RetryIn is called
  vsc_ResyncByHand = 2,   // vss_Resyncing lasts until the queries are answered and CVekSession_ResyncDone
                          // was called
  vsc_CloseOnTimeout = 4  // a request that times out with no byte received since it was sent ends its link
};

// Of a request or an event (flags), to be added.
enum {
  vsg_Resync = 1,     // taken in vss_Resyncing as well. Events: the request had it
  vsg_Urgent = 2,     // goes before all that wait without it
  vsg_Duplicate = 4,  // the work id may be in use already, or not be unique in the link's life. Answers to
                      // equal ids go to the oldest one
  vsg_Outbound = 8,   // events of kind vse_Trace: it was sent, not received
  vsg_Packet = 16,    // and: text is a whole packet, header first (vtl_Packets);
  vsg_LowFirst = 32,  // its numbers are low byte first,
  vsg_HighFirst = 64  // or high byte first; neither: that is not known yet
};

// How much is traced (CVekSession_SetTrace, CVekClient_SetTrace).
enum {
  vtl_None,
  vtl_Heads,     // of messages: code, length and direction
  vtl_Messages,  // their bytes too, without header, long ones in one; passwords as eight stars
  vtl_Packets    // packets as they go, header first, in pieces; passwords as eight stars with the lengths put
                 // right; detail has their fields. What CVekApi_RecordOf makes records of
};

// For CVekApi_Text.
enum { vst_State, vst_Fate, vst_Reason, vst_ClientState };

// Why.
enum {
  // of a link's end, and of fates that come from it
  vsr_BadSetting = 101,     // nothing can be made of the endpoint's setting
  vsr_ConnectFailed = 102,  // detail says why
  vsr_ConnectTimeout = 103,
  vsr_ConnectRefused = 104,  // the server refused the connect request; detail has its words
  vsr_SignOnTimeout = 105,
  vsr_SignOnRefused = 106,   // detail has the server's words. Ends in vss_Refused
  vsr_SignOnTooLong = 107,   // identity and password are too long. Ends in vss_Refused
  vsr_LinkBroken = 108,      // detail says why
  vsr_BadStream = 109,       // what came was no stream of packets
  vsr_Silent = 110,          // nothing came in time
  vsr_UnknownServer = 111,   // the connect request was not answered
  vsr_ResyncFailed = 112,    // a resync query was not answered in time, or CVekSession_ResyncDone said so
  vsr_AcksMissing = 113,     // requests that timed out keep every place of the rate
  vsr_SlowConsumer = 114,    // maxEvents wait for the application
  vsr_ShortLinks = 115,      // stopped: maxShortLinks in a row ended early
  vsr_NoMoreAttempts = 116,  // stopped: maxAttempts
  vsr_Closed = 117,          // CVekSession_Close or _Delete; of a client: disconnected
  // finer than those (CVekEvent.cause, CVekClient_LinkReason)
  vsr_HostNotFound = 121,   // the host's name does not exist
  vsr_LookupFailed = 122,   // no name server answered
  vsr_LookupTimeout = 123,  // looking the name up took too long
  vsr_NobodyListens = 124,  // the other computer refused the connection
  vsr_NoRoute = 125,        // its network cannot be reached
  vsr_PeerTimeout = 126,    // it did not acknowledge what was sent, says the system
  vsr_Reset = 127,          // it reset the connection, or something in between did
  vsr_ClosedByPeer = 128,   // it closed the connection
  vsr_NoThread = 129,       // the system had no thread for the link
  vsr_NoDescriptor = 130,   // too many files and connections are open
  vsr_GatewaySilent = 131,  // shared memory: the gateway does not answer
  vsr_BadRings = 132,       // shared memory: what is in it makes no sense
  vsr_BadApName = 133,      // the application's name is too long
  vsr_LongMessage = 134,    // a message exceeded mm= of the setting
  vsr_LooksHttp = 141,      // what came is no stream of packets, but looks like an HTTP answer,
  vsr_LooksTls = 142,       // TLS,
  vsr_LooksSsh = 143,       // SSH,
  vsr_LooksMail = 144,      // the greeting of a mail or FTP server,
  vsr_LooksJson = 145,      // JSON,
  vsr_LooksText = 146,      // plain text,
  vsr_LooksZeroes = 147,    // or nothing but zeroes
  // of a request
  vsr_NotUp = 201,        // refused: the session takes none in this state
  vsr_BadText = 202,      // refused: empty, too long, its work id is not usable, or its lines are not right
                          // for its code
  vsr_DuplicateId = 203,  // refused: a request with this work id has no fate yet, or had timed out on this
                          // link
  vsr_TooFast = 204,      // refused: the rate is used up, or others wait
  vsr_QueueFull = 205,    // refused: maxHeld
  vsr_LinkFull = 206,     // refused, or not sent: the link takes nothing for the moment
  vsr_NoMemory = 207,     // refused, or the reason of a link's end
  vsr_Expired = 208,      // not sent: holdMs are over
  vsr_Withdrawn = 209,    // not sent: CVekSession_Withdraw
  vsr_Replaced = 210,     // not sent: another one replaces it
  vsr_NoAnswer = 211,     // timed out
  vsr_EmptyAck = 212,     // acknowledged by a line without text
  // of a call
  vsr_TooLate = 301,     // the request is on its way, or has its fate
  vsr_Busy = 302,        // not in this state; or a password change is under way
  vsr_BadArgument = 303  // a null address, a wrong size, a number out of range, a handle that is gone
};

// ---------------------------------------------------------------------------------------------------------
// Events

// One event. Every member is set; what does not apply is 0 or "". Lent: it, its texts and its result live
// until the callback returns; those of CVekSession_Next until that function is called again or the session is
// deleted.
typedef struct CVekEvent {
  uint32_t size;  // of the whole event, in this library
  int32_t kind;   // vse_...
  int32_t state;  // vss_... of the session, as of this event
  int32_t fate;   // vsf_...; of vse_Late the one that had been told
  int32_t
      reason;    // vsr_..., 0 when there is none to give: why a link ended, why a fate is not the wished one
  int32_t code;  // of the message: 128, 129, 130, 131 or another. 2: a password change
  uint32_t flags;       // vsg_...
  uint32_t link;        // number of the link that it belongs to, from 1; 0 before the first
  uint32_t attempt;     // vse_State: number of the attempt since the session was last well, from 1
  uint32_t endpoint;    // number of the endpoint, in the order of adding, from 0
  int32_t waitMs;       // vss_Waiting: until the next attempt; -1: until CVekSession_RetryIn. vse_Gate: 0
  uint32_t neverSent;   // State after a link's end: how many of its requests got vsf_NeverSent from it,
  uint32_t unknown;     // and how many vsf_Unknown
  uint64_t ticket;      // of the request; 0: of none
  uint64_t tag;         // as it was given with the request
  int64_t atNs;         // monotonic time when it happened, not when it is delivered; its zero is not stated
  int64_t unixNs;       // the same moment by the clock on the wall, since 1970
  int64_t submittedNs;  // monotonic: when the request was submitted,
  int64_t handedNs;     // and when it was handed to the link that took it; 0: none did
  const char* workId;   // of the request or the answer
  const char* text;     // the server's bytes: result, acknowledgement's line, report, words. NUL behind; may
                        // have NUL inside. vss_Resyncing, vss_Up: the sign-on result
  const char* detail;   // the system's words, or the server's reason
  uint32_t textLength;  // bytes of text, without the NUL behind it
  CVekTaskResult
      result;  // vsf_Answered, vse_Late and vse_Stray of code 128, and the sign-on result: parsed; else null
  int32_t cause;  // vse_State: the finest vsr_... that is known of `reason`, at least that one
} CVekEvent;

// `session` is the address of a temporary handle, valid until the callback returns; `user` what was
// configured. Everything may be called in it, CVekSession_Delete too (with either handle), except waiting for
// another event of that session (CVekSession_InCallback).
typedef void (*CVekOnEvent)(CVekSession* session, void* user, const CVekEvent* event);

// ---------------------------------------------------------------------------------------------------------
// Configuration

// CVekSession_Defaults fills it with the values in brackets.
typedef struct CVekSessionConfig {
  uint32_t size;          // of this structure
  uint32_t flags;         // vsc_... [0]
  const char* apName;     // the application, for the server; up to 255 bytes ["VekSession"]
  const char* apVersion;  // four numbers ["1.0.0.0"]
  const char* id1;        // user identity: id1/id2 []
  const char* id2;        // may be empty []
  const char* idPrefix;   // in front of work ids that the session makes, up to 8 letters or digits []
  char idSeparator;  // ByWorkId: what ends the work id in an acknowledgement's line; the end of the line does
                     // too [' ']
  int32_t delivery;  // vsd_... [vsd_Threads]
  int32_t ackRule;   // vsa_... [vsa_InOrder]
  int32_t rateCount;  // code 129: so many requests within
  int32_t rateMs;     // so many ms; either below 1: no pacing [0, 0]

  // A round tries each endpoint once, the last good one first. Before round n after the first, n from 0, the
  // session waits a random time between d/2 and d, d = min(maxDelayMs, firstDelayMs * 2^n). A link that was
  // Up for stableMs begins anew: n, attempts and short links count from 0.
  uint32_t maxAttempts;    // attempts after the first; 0: no reconnecting, 0xFFFFFFFF: for ever [0xFFFFFFFF]
  uint32_t firstDelayMs;   // [250]
  uint32_t maxDelayMs;     // [30000]
  uint32_t stableMs;       // [10000]
  uint32_t maxShortLinks;  // so many links in a row that were Up for less than stableMs end in vss_Stopped:
                           // two programs displace each other. 0: never [5]

  // 0: never
  uint32_t connectMs;  // from the attempt to the server's answer to the connect request. The client's own
                       // limits (45 s) hold besides [20000]
  uint32_t signOnMs;   // from then to the sign-on result [20000]
  uint32_t resyncMs;   // from then to vss_Up [60000]
  uint32_t holdMs;     // a held request waits so long; CVekSubmit may say another time [0]
  uint32_t answerMs;   // an answer is awaited so long; CVekSubmit may say another time [10000]
  uint32_t silenceMs;  // a link without a byte for so long is ended. Servers answer nothing to heartbeats:
                       // below 60000 set `probe` [65000]

  uint32_t maxHeld;    // requests that may wait, 1 to 10000000 [100000]
  uint32_t maxEvents;  // events that may wait for the application (vsd_Loop, vsd_Poll), at least 16. Beyond,
                       // the link is ended: fates and reports are never dropped [100000]
  uint32_t remember;   // fates told whose late answers are still recognised, beside those of the link that
                       // live [1000]
  const char* probe;   // a query that is sent after half of silenceMs without a byte, or null [null]

  CVekOnEvent onEvent;  // not called with vsd_Poll; null: events are dropped [null]
  void* user;           // [null]
  uint64_t seed;        // of delays and of the made work ids; 0: from the system [0]
} CVekSessionConfig;

// Fills the first `size` bytes of `config` with the defaults.
VEKAPI_FLAT void CVekSession_Defaults(CVekSessionConfig* config, uint32_t size);

// A new session, vss_Closed, without an endpoint. A null handle with `reason` (may be null) when the
// configuration cannot be: vsr_BadArgument, vsr_NoMemory; vsr_Busy when the thread can have no message loop.
// The configuration is copied.
VEKAPI_FLAT CVekSession CVekSession_Create(const CVekSessionConfig* config, int32_t* reason);

// Ends the link at once; what is held or out gets its fate, with reason vsr_Closed, and one state event tells
// vss_Closed, all before the function returns and inside it with vsd_Threads, and with vsd_Loop when called
// on the session's thread. With vsd_Poll they are lost: CVekSession_Close first and take them. Nothing is
// called afterwards. Made inside a callback, the callback that stands on the stack goes on, and must not use
// the session any more. The handle becomes null.
VEKAPI_FLAT void CVekSession_Delete(CVekSession* session);

// ---------------------------------------------------------------------------------------------------------
// The link

// Adds an endpoint: "HOST:PORT" or ":KIND:PARAMETERS", as CVekClient_Connect. Settings are judged when they
// are tried. Any time; up to 64.
VEKAPI_FLAT int32_t CVekSession_AddEndpoint(CVekSession* session, const char* setting);

// Adds a query that is asked on every new link before vss_Up, with a work id that the session makes and puts
// in front. Its results come as fates with ticket, tag 0 and vsg_Resync. They are asked in the order of
// adding. Any time; up to 64; counts from the next link on.
VEKAPI_FLAT int32_t CVekSession_AddResync(CVekSession* session, const char* query);

// The password of the attempts to come. Kept for reconnecting; wiped when the session is vss_Closed,
// vss_Refused or vss_Stopped, so that it has to be set before each CVekSession_Open. After a password change
// it must be set anew.
VEKAPI_FLAT int32_t CVekSession_SetPassword(CVekSession* session, const char* password);

// Begins to connect. Allowed in vss_Closed, vss_Refused and vss_Stopped (else vsr_Busy), with an endpoint
// (else vsr_BadArgument).
VEKAPI_FLAT int32_t CVekSession_Open(CVekSession* session);

// In vss_Waiting: the next attempt comes in `ms` milliseconds, whatever was planned. vsr_Busy in other
// states.
VEKAPI_FLAT int32_t CVekSession_RetryIn(CVekSession* session, uint32_t ms);

// vsc_ResyncByHand: the application has done its part of resyncing on link `link`; when it is good, vss_Up
// follows as soon as all resync queries are answered; when not, the link ends with vsr_ResyncFailed.
// vsr_TooLate when that link is not resyncing (any more).
VEKAPI_FLAT int32_t CVekSession_ResyncDone(CVekSession* session, uint32_t link, bool good);

// Ends the session. With drainMs above 0 and something held or out: held ones get vsf_NeverSent, what is out
// is waited for in vss_Draining, at most so long; the function returns at once, vss_Closed comes as event.
// With 0 the link is ended and vss_Closed reached before it returns; with vsd_Loop and vsd_Poll the events
// are still to be delivered.
VEKAPI_FLAT void CVekSession_Close(CVekSession* session, uint32_t drainMs);

// ---------------------------------------------------------------------------------------------------------
// Requests

// A request. Its text is opaque but for this: code 128 is "ID REST"; code 129 is two lines, "ID REST" LF
// "REST", with exactly one line feed. Other codes (4 to 4095) have no answer that the session could know:
// their fate is vsf_Left.
typedef struct CVekSubmit {
  uint32_t size;   // of this structure
  int32_t code;    // of the message: 128, 129 or another
  int32_t mode;    // vsm_...
  uint32_t flags;  // vsg_Resync, vsg_Urgent, vsg_Duplicate
  const char*
      workId;  // null: one is made, and put in front of the text with a blank between. Else up to 31 bytes
               // without blanks, line ends or commas: the id with which `text` begins already. "": none; then
               // code 128 cannot be answered and is vsf_Left, and vsa_ByWorkId refuses code 129
  const char* text;     // need not end with NUL
  uint32_t textLength;  // bytes of text, up to 16777216
  uint32_t holdMs;      // 0: as configured; 0xFFFFFFFF: never ends
  uint32_t answerMs;    // from the moment when the link took it. 0: as configured; 0xFFFFFFFF: never ends
  uint64_t replaces;  // ticket of a held request that gets vsf_NeverSent when this one is taken; vsr_TooLate
                      // when it is not held any more. 0: none. The new one goes behind what waits
  uint64_t tag;       // for the caller
} CVekSubmit;

// What CVekSession_Submit made of a request.
typedef struct CVekReceipt {
  uint32_t size;    // of this structure
  int32_t waitMs;   // vsr_TooFast: so long; taken and held: when the rate allows the next one. -1: until an
                    // acknowledgement comes, or cannot be said. 0: it went
  uint64_t ticket;  // from 1, never given twice by one session; 0: refused
  uint32_t ahead;   // requests that go before it, when it is held
  uint32_t link;    // the link that it is for
  char workId[32];  // NUL behind
} CVekReceipt;

// Sends or holds a request; 0: it was taken, and exactly one event of kind vse_Fate will tell what became of
// it, perhaps before this function returns. Else vsf_Refused for that reason, and nothing of it has gone or
// will. No allocation and no thread change when it goes at once. Another thread may be sending: this one is
// then queued behind it, and sent by that thread. `receipt` may be null.
VEKAPI_FLAT int32_t CVekSession_Submit(CVekSession* session, const CVekSubmit* request, CVekReceipt* receipt);

// Asks the server to change a password; each text has up to 255 bytes. In vss_Up, and in vss_Refused while
// the link is there (else vsr_NotUp). One at a time (else vsr_Busy). Its fate is an event of code 2 with
// `tag` and the server's words, which are for people: success does not show. `receipt` may be null.
VEKAPI_FLAT int32_t CVekSession_ChangePassword(CVekSession* session, const char* user, const char* before,
                                               const char* after, uint64_t tag, CVekReceipt* receipt);

// Takes a held request back: its fate is vsf_NeverSent, vsr_Withdrawn. vsr_TooLate when it is not held (any
// more).
VEKAPI_FLAT int32_t CVekSession_Withdraw(CVekSession* session, uint64_t ticket);

// A work id that the session has not given before, for those who store it before they submit. `id` has room
// for 32 bytes. "" for a null handle.
VEKAPI_FLAT void CVekSession_NewWorkId(CVekSession* session, char id[32]);

// Paces code 129: `count` requests within any `ms` milliseconds, as the server counts them; either below 1:
// not at all. Also the rate of links to come. Forgets what is cooling, not what is out.
VEKAPI_FLAT int32_t CVekSession_SetRate(CVekSession* session, int32_t count, int32_t ms);

// How long a request of that code would wait: 0: it would go now; -1: until an acknowledgement, or the
// session is not up.
VEKAPI_FLAT int32_t CVekSession_WaitMs(CVekSession* session, int32_t code);

// ---------------------------------------------------------------------------------------------------------
// Taking events (vsd_Poll)

// The next event: 1 and `event` filled; 0: none came within `timeoutMs` (0: does not wait; negative: waits
// for ever); -1: not a polled session, or a null address. `event->size` is to be set. One thread at a time.
VEKAPI_FLAT int32_t CVekSession_Next(CVekSession* session, int32_t timeoutMs, CVekEvent* event);

// A descriptor that polls readable (Windows: a HANDLE of an event that is set) while events wait. Belongs to
// the session and lives as long; not to be read, reset or closed. -1 (Windows: 0) when there is none.
// vsd_Poll only.
VEKAPI_FLAT intptr_t CVekSession_WaitHandle(CVekSession* session);

// ---------------------------------------------------------------------------------------------------------
// Besides

// True on a thread that is inside a callback of this session.
VEKAPI_FLAT bool CVekSession_InCallback(CVekSession* session);

// A copy of the result of an event, which belongs to the caller: CVekTaskResult_Free. Null when it has none,
// or no memory.
VEKAPI_FLAT CVekTaskResult CVekSession_KeepResult(CVekSession* session, const CVekEvent* event);

// Frees what CVekSession_KeepResult returned, and nothing else; the handle becomes null.
VEKAPI_FLAT void CVekTaskResult_Free(CVekTaskResult* result);

// Counts since the session was created. `size` is to be set.
typedef struct CVekSessionStats {
  uint32_t size;         // of this structure
  uint32_t held;         // now
  uint32_t heldMost;     // ever
  uint32_t out;          // now: sent, without fate
  uint32_t events;       // now: waiting for the application
  uint32_t links;        // attempts
  uint32_t shortLinks;   // in a row
  uint64_t fates[8];     // by vsf_...; [vsf_Refused]: by CVekSession_Submit
  uint64_t late;         // events of kind vse_Late
  uint64_t stray;        // and vse_Stray
  uint64_t gateWaits;    // how often the head of the queue had to wait for the rate
  uint64_t bytesIn;      // of all links together
  uint64_t bytesOut;     // of all links together
  uint64_t messagesIn;   // of all links together
  uint64_t messagesOut;  // of all links together
  int64_t upNs;          // time in vss_Up, all links together
} CVekSessionStats;

// Fills `stats`, whose size the caller has set.
VEKAPI_FLAT void CVekSession_Stats(CVekSession* session, CVekSessionStats* stats);

// How long answers took from being handed to the link, for requests of code 128 or 129: counts[i] of those
// between 2^(i/8) and 2^((i+1)/8) us, shorter ones in counts[0], longer ones in the last. Returns how many
// counts there are; fills at most `room`. 0 for other codes.
VEKAPI_FLAT uint32_t CVekSession_RoundTrips(CVekSession* session, int32_t code, uint64_t* counts,
                                            uint32_t room);

// Makes messages of the wire into events: `level` is vtl_... Bytes are descrambled. Codes below 4 are
// messages of the link itself: 0 connecting, 1 heartbeat, 2 sign-on and password change.
VEKAPI_FLAT void CVekSession_SetTrace(CVekSession* session, int32_t level);

// Why the client's last link ended, could not be opened or is in trouble (cvcs_SgnError, _ConnectError,
// _UnknownServer, _HeartbeatTimeout): the finest vsr_... that is known; docs/errors.md lists them. 0 while it
// is well, before the first one, and for a null handle. Set before the event that tells it; a client on a
// message loop may hear of that later.
VEKAPI_FLAT int32_t CVekClient_LinkReason(const CVekClient* client);

// The same in words, beyond those of CVekApi_Text, in English: the word of the setting that was wrong, what
// the system says, what a stream looked like; or the server's own, as they came. As CVekApi_ToUtf8.
VEKAPI_FLAT uint32_t CVekClient_LinkDetail(const CVekClient* client, char* out, uint32_t room);

// The trace of a client. `client` is the address of a temporary handle, valid until the callback returns;
// `event` is of kind vse_Trace, or of vse_State for what becomes of a link: vss_Connecting (detail: the
// setting), vss_SigningOn, vss_Up, vss_Refused, vss_Closed (disconnected or deleted), vss_Stopped (ended in
// another way). Why is in reason, cause and detail, as CVekClient_LinkReason and _LinkDetail tell it. The
// event's texts live until the callback returns. A packet that was shown and then not taken by the link is
// followed by an event without text whose detail says so.
//
// Called where the packet comes or goes: on the library's threads and on those that send, several at once,
// also for a client on a message loop. Everything may be called inside, CVekClient_Delete too; but within a
// send of a CVekFlowCtrlSender, what its free event may call. What is sent inside is traced, too.
typedef void (*CVekOnTrace)(CVekClient* client, void* user, const CVekEvent* event);

// Traces every packet of the client, its own heartbeats and sign-on included. `level` is vtl_...;
// vtl_Messages is taken as vtl_Packets. Null or vtl_None ends it. Replaces the trace before it, of which
// calls that were under way on other threads may still be: their `user` must live until those have returned.
// Any time, on any thread. Nothing is called after CVekClient_Delete. False for a null handle, or without
// memory: then all is as before.
VEKAPI_FLAT bool CVekClient_SetTrace(CVekClient* client, CVekOnTrace onTrace, void* user, int32_t level);

// The bytes that an event puts into a recording (docs/recordings.md), a file that vekdump reads: packets of
// vtl_Packets, states, and fates with how long the request was held. Returns how many bytes that needs: 0
// when the event puts none, or there is no memory; writes them only when `room` is enough.
VEKAPI_FLAT uint32_t CVekApi_RecordOf(const CVekEvent* event, char* out, uint32_t room);

// The bytes with which a recording begins, returned and written in the same way.
VEKAPI_FLAT uint32_t CVekApi_RecordHeader(char* out, uint32_t room);

// Words for a number: `what` vst_..., `value` vss_..., vsf_..., vsr_... or cvcs_..., `language` 0 English, 1
// Traditional Chinese. UTF-8; there as long as the library. "" for numbers that it does not know; no reason
// (0) has "".
VEKAPI_FLAT const char* CVekApi_Text(int32_t what, int32_t value, int32_t language);

// Code page 950 as UTF-8. Returns how many bytes that needs, without the NUL; writes at most `room` bytes,
// NUL included and no character torn. What is no character becomes a replacement.
VEKAPI_FLAT uint32_t CVekApi_ToUtf8(const char* big5, uint32_t length, char* out, uint32_t room);

// One line for a log, in English, without a line end and without the event's text. As CVekApi_ToUtf8.
VEKAPI_FLAT uint32_t CVekApi_Describe(const CVekEvent* event, char* out, uint32_t room);

#ifdef __cplusplus
}
#endif

#endif  // VEKAPI_VEKSESSIONC_H
