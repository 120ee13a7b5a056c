// The flat functions: everything that the classes do, for callers that cannot use classes. C99 and C++.
//
// Conventions
//
// Handles. A handle is a structure of one pointer. What creates or finds an object returns its handle by
// value; every other function takes the address of the variable that holds it. A handle whose pointer is null
// is a null handle: functions given one, or given no address at all, do nothing and return false, 0 or null
// (CVekField_Index: -1). In a language without structures the handle is a pointer-sized integer.
//
// Ownership. Clients, gates and senders belong to the caller, who deletes them, in any order; a deleted one
// has a null handle, so that a second deletion does nothing. Copies of the handle are not set to null and
// must not be used any more. Result objects (task results, tables, fields, properties) are lent: those
// reached from the task result of a callback live until that callback returns, those reached from
// CVekClient_SgnResult as long as it says. The texts in them live as long as they do.
//
// Texts. `const char*` texts end with NUL. Protocol and keys are ASCII; texts for users are code page 950
// (Big5, Traditional Chinese). Texts that are handed in are copied, if need be, before the function returns.
//
// Functions whose name ends in _B return the text of the function without _B as an automation string with
// the same narrow bytes (a byte-length BSTR: a 32-bit byte count stands in front of the text, NULs behind).
// It belongs to the caller, who frees it with CVekApi_FreeBSTR, or on Windows with SysFreeString. Null when
// there is no text, or no memory.
//
// Results. `bool` is one byte, 0 or 1; nothing is promised about the rest of the register. C#:
// [return: MarshalAs(UnmanagedType.I1)]. VB and VBA: As Byte (never As Boolean). ctypes: c_bool. `int` and
// `unsigned` have 32 bits.
//
// Calls. x86-64 has one calling convention on each system, and functions and callbacks have it.
//
// Threads. Functions on one object may be called from any thread where nothing else is said; what creates and
// deletes it, connects and disconnects it, on one thread at a time. Result objects do not change while the
// caller holds them. Callbacks run on threads of the library, and inside functions that say so; those of
// objects created with a function that ends in _OnMessageLoop run on the thread that created them.
//
// Errors. Nothing here throws; a lack of memory gives the null result. A callback should not throw: what a
// C++ callback throws is caught at once and dropped, as if the callback had returned, when caller and library
// share a C++ runtime; otherwise there is no telling. longjmp must not leave a callback. A thread that is
// cancelled, or ends itself (pthread_exit), inside a callback takes its session with it, which has to be
// deleted all the same; it must not end inside OnVekClientDestroyEvent.
#ifndef VEKAPI_VEKAPIC_H
#define VEKAPI_VEKAPIC_H

#include <stdbool.h>

#include "vekapi/VekExport.h"

#ifdef __cplusplus
extern "C" {
#endif

// ---------------------------------------------------------------------------------------------------------
// Library

// Its version, such as "0.1.0". The text is there as long as the library.
VEKAPI_FLAT const char* CVekApi_Version(void);

// Automation string: points to its first byte.
typedef char* CVekBSTR;

// A new automation string with the bytes of `text` up to its NUL, unchanged; it belongs to the caller. Null
// for null.
VEKAPI_FLAT CVekBSTR CstrToBSTR(const char* text);

// Frees what CstrToBSTR or a function ending in _B returned; nothing for null.
VEKAPI_FLAT void CVekApi_FreeBSTR(CVekBSTR text);

// ---------------------------------------------------------------------------------------------------------
// Properties: a name and key/value pairs. Keys are compared bytewise.

typedef struct CVekProperties {
  const void* object;
} CVekProperties;

// The value of a key; null when there is none.
VEKAPI_FLAT const char* CVekProperties_Get(const CVekProperties* properties, const char* key);
VEKAPI_FLAT CVekBSTR CVekProperties_Get_B(const CVekProperties* properties, const char* key);

VEKAPI_FLAT const char* CVekProperties_Name(const CVekProperties* properties);
VEKAPI_FLAT CVekBSTR CVekProperties_Name_B(const CVekProperties* properties);

// What to show to users: the value of "DisplayText", else the name.
VEKAPI_FLAT const char* CVekProperties_DisplayText(const CVekProperties* properties);
VEKAPI_FLAT CVekBSTR CVekProperties_DisplayText_B(const CVekProperties* properties);

// The value of "Description", else the display text.
VEKAPI_FLAT const char* CVekProperties_Description(const CVekProperties* properties);
VEKAPI_FLAT CVekBSTR CVekProperties_Description_B(const CVekProperties* properties);

// The pairs, without the name: for each, in the order of their coming, 0x01 KEY "=" VALUE.
VEKAPI_FLAT const char* CVekProperties_ToString(const CVekProperties* properties);
VEKAPI_FLAT CVekBSTR CVekProperties_ToString_B(const CVekProperties* properties);

// ---------------------------------------------------------------------------------------------------------
// Fields: the columns of a table

typedef struct CVekField {
  const void* object;
} CVekField;

typedef struct CVekFields {
  const void* object;
} CVekFields;

// The column's name and attributes.
VEKAPI_FLAT CVekProperties CVekField_Properties(const CVekField* field);

// Position in the table, from 0; -1 for a null handle.
VEKAPI_FLAT int CVekField_Index(const CVekField* field);

// Null handles when there is no such column.
VEKAPI_FLAT CVekField CVekFields_NameField(const CVekFields* fields, const char* name);
VEKAPI_FLAT CVekField CVekFields_IndexField(const CVekFields* fields, int index);

VEKAPI_FLAT int CVekFields_Count(const CVekFields* fields);

// ---------------------------------------------------------------------------------------------------------
// Tables

typedef struct CVekTable {
  const void* object;
} CVekTable;

// Account market of a table (CVekTable_MktFlag). The server may use other numbers.
enum {
  cvam_None = 0,            // the table says nothing about it
  cvam_Stock = 1,           // domestic securities
  cvam_Futures = 2,         // domestic futures and options
  cvam_ForeignFutures = 3,  // foreign futures and options
  cvam_ForeignStock = 4     // foreign securities
};

// The table's name and attributes.
VEKAPI_FLAT CVekProperties CVekTable_Properties(const CVekTable* table);

VEKAPI_FLAT CVekFields CVekTable_Fields(const CVekTable* table);

VEKAPI_FLAT int CVekTable_RecordsCount(const CVekTable* table);

// The value of a column of a record, "" when the record has none. Rows and columns count from 0; null when
// there is no such record or column.
VEKAPI_FLAT const char* CVekTable_RecordIndexField(const CVekTable* table, int row, int col);
VEKAPI_FLAT CVekBSTR CVekTable_RecordIndexField_B(const CVekTable* table, int row, int col);

// The same by a column's handle; null for a null one.
VEKAPI_FLAT const char* CVekTable_RecordField(const CVekTable* table, int row, const CVekField* field);
VEKAPI_FLAT CVekBSTR CVekTable_RecordField_B(const CVekTable* table, int row, const CVekField* field);

// The number in the table's attribute "mkt": cvam_...
VEKAPI_FLAT int CVekTable_MktFlag(const CVekTable* table);

// ---------------------------------------------------------------------------------------------------------
// Task results: the answer to a request

typedef struct CVekTaskResult {
  const void* object;
} CVekTaskResult;

// Ties the answer to the request.
VEKAPI_FLAT const char* CVekTaskResult_WorkID(const CVekTaskResult* result);
VEKAPI_FLAT CVekBSTR CVekTaskResult_WorkID_B(const CVekTaskResult* result);

// The text that the tables were read from. Ends for the caller at its first NUL.
VEKAPI_FLAT const char* CVekTaskResult_OrigResult(const CVekTaskResult* result);
VEKAPI_FLAT CVekBSTR CVekTaskResult_OrigResult_B(const CVekTaskResult* result);

// Null handles when there is no such table. Indexes count from 0.
VEKAPI_FLAT CVekTable CVekTaskResult_NameTable(const CVekTaskResult* result, const char* name);
VEKAPI_FLAT CVekTable CVekTaskResult_IndexTable(const CVekTaskResult* result, unsigned index);

VEKAPI_FLAT unsigned CVekTaskResult_TableCount(const CVekTaskResult* result);

// ---------------------------------------------------------------------------------------------------------
// Client: one session with an order-routing server

typedef struct CVekClient {
  void* object;
} CVekClient;

// CVekClient_State
enum {
  cvcs_HeartbeatTimeout = -7,  // nothing came from the server for a heartbeat period; the link is not closed
  cvcs_ConnectError = -6,      // the server refused the connect request
  cvcs_SgnError = -5,          // the server refused the sign-on; the link stays up for a password change
  cvcs_UnknownServer = -4,     // the server never answered the connect request
  cvcs_LinkBroken = -3,
  cvcs_LinkError = -2,     // the link could not be opened
  cvcs_Disconnected = -1,  // after CVekClient_Disconnect
  cvcs_None = 0,           // new client
  cvcs_Connecting = 1,     // the link is being opened
  cvcs_Connected = 2,      // connect request accepted, sign-on sent
  cvcs_ApReady = 3         // signed on; requests may be sent
};

// Codes of messages. Requests are sent with the first two; the others come, as OnVekRequestAckEvent and
// OnVekReportEvent.
enum {
  cvmc_TaskResult = 128,  // a query, and its answer; paced by the rate that the server gave at sign-on
  cvmc_RequestAck = 129,  // a request, and its acknowledgement
  cvmc_Report = 130,
  cvmc_RequestAck2 = 131  // another acknowledgement
};

// The reasons that the library itself gives in OnVekConnectEvent and OnVekChgPassResultEvent
// (CVekApi_ReasonOf).
enum {
  cvre_Other = 0,             // the words of the server or of the system, or none
  cvre_Disconnect = 1,        // CVekClient_Disconnect was called
  cvre_HeartbeatTimeout = 2,  // with cvcs_HeartbeatTimeout
  cvre_UnknownServer = 3,     // with cvcs_UnknownServer
  cvre_BadPacketLength = 4,   // with cvcs_LinkBroken: what came was no stream of packets
  cvre_LongMessage = 5,       // with cvcs_LinkBroken: a message had more pieces than any may have
  cvre_BadSetting = 6,        // with cvcs_LinkError: nothing can be made of the setting
  cvre_BadApName = 7,         // with cvcs_LinkError: the application name is too long
  cvre_SignOnTooLong = 8,     // with cvcs_SgnError: identity and password are too long together
  cvre_ChgPassTooLong = 9,    // of CVekClient_ChgPass: its texts are too long together
  cvre_ConnectTimeout = 10,   // with cvcs_LinkError: the link did not open in time
  cvre_SignOnTimeout = 11,    // with cvcs_LinkBroken: no answer to the sign-on came in time
  cvre_NoMemory = 12          // with cvcs_LinkError or cvcs_LinkBroken
};

// cvre_..., by the whole text; cvre_Other for null.
VEKAPI_FLAT int CVekApi_ReasonOf(const char* reason);

// Callbacks of a client.
//
// `client` is the address of a temporary handle to the client, `user` what CVekClient_Create was given. That
// handle, and everything else that a callback gets, lives until the callback returns.
//
// Callbacks of one client never overlap and come in the order of the wire. They run on the library's threads
// (link, timer), or inside CVekClient_Connect, _Disconnect, _ChgPass and _Delete on the caller's.
//
// Inside every callback but the last the caller may call any function on that client, CVekClient_Delete too
// (with the temporary handle or with the caller's own: the one that it is given becomes null).

// A message of a code that the library does not know: the whole message, header included, of `length` bytes.
typedef void (*CVekOnUnknownMsgCode)(CVekClient* client, void* user, int msgCode, const char* packet,
                                     int length);

// The state changed: read it with CVekClient_State. `reason` is empty when the server accepted the connect
// request, else says why.
typedef void (*CVekOnConnect)(CVekClient* client, void* user, const char* reason);

// Signed on: CVekClient_SgnResult holds the accounts, requests may be sent.
typedef void (*CVekOnApReady)(CVekClient* client, void* user);

// The answer to a request of code 128.
typedef void (*CVekOnTaskResult)(CVekClient* client, void* user, const CVekTaskResult* result);

// The answer to CVekClient_ChgPass: `resultText` is for people.
typedef void (*CVekOnChgPassResult)(CVekClient* client, void* user, const char* userId,
                                    const char* resultText);

// An acknowledgement of code 129 or 131; with 129 a line for each acknowledged request, to be handed to
// CVekFlowCtrlSender_AckParser.
typedef void (*CVekOnRequestAck)(CVekClient* client, void* user, int msgCode, const char* ackText);

typedef void (*CVekOnReport)(CVekClient* client, void* user, const char* reportText);

// The client is being deleted; its last callback, on the thread that deletes it. The handle that was given to
// CVekClient_Delete is null by now and not touched any more: what holds it may be freed here. Through
// `client` the state may be asked for; deleting it again does nothing.
typedef void (*CVekOnClientDestroy)(CVekClient* client, void* user);

// Null entries: the event is dropped. A caller in a managed language keeps what stands behind the entries
// alive until the client is deleted.
typedef struct CVekClientCallbacks {
  CVekOnUnknownMsgCode OnVekUnknownMsgCodeEvent;
  CVekOnConnect OnVekConnectEvent;
  CVekOnApReady OnVekApReadyEvent;
  CVekOnTaskResult OnVekTaskResultEvent;
  CVekOnChgPassResult OnVekChgPassResultEvent;
  CVekOnRequestAck OnVekRequestAckEvent;
  CVekOnReport OnVekReportEvent;
  CVekOnClientDestroy OnVekClientDestroyEvent;
} CVekClientCallbacks;

// A new client, which belongs to the caller. The table is copied; null counts as a table of nulls. `user` is
// handed to the callbacks and not looked into.
VEKAPI_FLAT CVekClient CVekClient_Create(const CVekClientCallbacks* callbacks, void* user);

// Calls OnVekClientDestroyEvent, closes the session and frees the client; the handle becomes null before that
// callback. Waits for a callback that is running on another thread (a thread answers what is sent to its
// windows meanwhile). No callback comes afterwards, unless the call was made inside one. Not on two threads
// at once, nor together with another function on that client.
VEKAPI_FLAT void CVekClient_Delete(CVekClient* client);

// cvcs_...
VEKAPI_FLAT int CVekClient_State(const CVekClient* client);

// True at cvcs_Connected, cvcs_ApReady and cvcs_SgnError.
VEKAPI_FLAT bool CVekClient_IsSessionConnected(const CVekClient* client);

// Closes an earlier session and opens a new one; true when it was begun. The outcome comes as callbacks: a
// setting of which nothing can be made calls OnVekConnectEvent in state cvcs_LinkError before the function
// returns. False, with nothing done, when a text but the password is null; a null password is an empty one.
//
// `setting` is "HOST:PORT" for TCP, or ":KIND:PARAMETERS". `apVersion` is four numbers, such as "1.2.3.4".
// `id1` and `id2` are joined by "/" into the user identity; it and the password may have up to 255 bytes.
// Not on two threads at once for one client, nor together with _Disconnect or _Delete.
VEKAPI_FLAT bool CVekClient_Connect(CVekClient* client, const char* setting, const char* apName,
                                    const char* apVersion, const char* id1, const char* id2,
                                    const char* password);

// Closes the session and calls OnVekConnectEvent with "Disconnect()" in state cvcs_Disconnected. No callback
// of that session comes afterwards.
VEKAPI_FLAT void CVekClient_Disconnect(CVekClient* client);

// The result that ended the last sign-on; an empty one before that.
//
// Of a client on a message loop: inside its callbacks the one that was the last at that event, lent until the
// callback returns; outside, the last of all, lent until this function or CVekClient_ServerName is called
// again for that client outside its callbacks. Of another client: lent as long as the client lives; the next
// sign-on replaces what is in it, so that it is to be read in callbacks, or while no sign-on can be under
// way.
VEKAPI_FLAT CVekTaskResult CVekClient_SgnResult(const CVekClient* client);

// Name and version of the server, such as "GW.2.0.1.15"; "" while not connected, null for a null handle. The
// text lives until the callback returns inside which it was asked for; else to be read, and lent, as
// CVekClient_SgnResult says.
VEKAPI_FLAT const char* CVekClient_ServerName(const CVekClient* client);

// Asks the server to change a password; the answer comes as OnVekChgPassResultEvent. False when not
// connected, when the link took nothing, or when the texts have more than 4091 bytes together. A null `user`
// gives false; null passwords are empty ones. Each text may have up to 255 bytes.
VEKAPI_FLAT bool CVekClient_ChgPass(CVekClient* client, const char* user, const char* oldPassword,
                                    const char* newPassword);

// Scrambles a finished packet of `length` bytes in place, behind its three header bytes, when the session
// asks for it.
VEKAPI_FLAT void CVekClient_EncPacket(const CVekClient* client, char* packet, int length);

// Sends a finished packet of `length` bytes, header included; true when the link took it. The buffer is
// scrambled in place.
VEKAPI_FLAT bool CVekClient_SendPk(CVekClient* client, char* packet, int length);

// Sends a request. The buffer starts with five free bytes, which the library fills; the text follows.
// `length` counts both, 6 or more. The buffer is consumed. True when the link took all of it, false when none
// of it went. Code 128 is a query, and false too when the rate that the server gave at sign-on is used up:
// nothing was touched then, and the same buffer may be tried again a little later.
VEKAPI_FLAT bool CVekClient_SendVekRequest(CVekClient* client, int msgCode, char* buffer, unsigned length);

// The same with cvmc_TaskResult, telling how long to wait: 0 when it was sent, the milliseconds until the
// rate allows it (nothing was touched), or -1 when it was not sent, and waiting will not help.
VEKAPI_FLAT int CVekClient_SendVekQueryRequest(CVekClient* client, char* buffer, unsigned length);

// ---------------------------------------------------------------------------------------------------------
// Flow-control gate: paces requests of code 129, at most so many within so many milliseconds as the server
// counts them. The time of a request runs from its acknowledgement.
//
// A gate waits when CVekFlowCtrl_StartCheckTimer, or an acknowledgement, has found it closed;
// OnVekFlowCtrlFree ends the waiting. A new rate is noticed by a gate that waits: the callback then comes
// soon, from the timer.

typedef struct CVekFlowCtrl {
  void* object;
} CVekFlowCtrl;

// The gate is open again. Runs inside CVekFlowCtrl_SetAckTime and CVekFlowCtrl_StartCheckTimer on the
// caller's thread, or on the timer's, with the gate's locks held. It may call everything of this gate and
// send with any client; it must not connect, disconnect or delete a client, or wait for another thread that
// uses the gate or is inside a client's callback. It may delete the gate when nobody else uses it and it was
// not locked with CVekFlowCtrl_Lock. `gate` is the address of a temporary handle, valid until the callback
// returns.
typedef void (*CVekOnFlowCtrlFree)(CVekFlowCtrl* gate, void* user);

typedef struct CVekFlowCtrlCallbacks {
  CVekOnFlowCtrlFree OnVekFlowCtrlFree;  // may be null
} CVekFlowCtrlCallbacks;

// A new gate, which belongs to the caller; everything may go until it is configured. The table is copied;
// null counts as one with a null entry.
VEKAPI_FLAT CVekFlowCtrl CVekFlowCtrl_Create(const CVekFlowCtrlCallbacks* callbacks, void* user);

// As CVekFlowCtrl_Create, for a gate whose callback runs on the calling thread, when that runs its message
// loop (see there), without any lock held. It may do everything: connect, disconnect and delete clients, and
// delete the gate. A null handle when the thread can have no window (or there is no memory).
//
// Openings that come before the callback has run are one. By then another thread may have taken the place: a
// callback that finds the gate closed (CVekFlowCtrl_CheckFlowCtrl) calls CVekFlowCtrl_StartCheckTimer again.
VEKAPI_FLAT CVekFlowCtrl CVekFlowCtrl_Create_OnMessageLoop(const CVekFlowCtrlCallbacks* callbacks,
                                                           void* user);

// Waits for a callback that is running on another thread; none comes afterwards. Nobody else may use the gate
// any more, or hold its lock.
VEKAPI_FLAT void CVekFlowCtrl_Delete(CVekFlowCtrl* gate);

VEKAPI_FLAT bool CVekFlowCtrl_IsFlowCfg(const CVekFlowCtrl* gate);

// Switches pacing off and forgets what was sent. A gate that waits calls OnVekFlowCtrlFree soon.
VEKAPI_FLAT void CVekFlowCtrl_Clear(CVekFlowCtrl* gate);

// Forgets what was sent and allows `count` requests within any `ms` milliseconds; with either below 1 the
// same as CVekFlowCtrl_Clear. To be called again when a new session is ready: what was sent over a link that
// has ended is never acknowledged and would keep its places.
VEKAPI_FLAT void CVekFlowCtrl_SetFlowCtrl(CVekFlowCtrl* gate, int count, int ms);

// `n` requests were acknowledged. May call OnVekFlowCtrlFree.
VEKAPI_FLAT void CVekFlowCtrl_SetAckTime(CVekFlowCtrl* gate, unsigned n);

// 0: one request may go now, and is counted as sent (a null handle answers 0, too). Positive: not now; it may
// be asked again after so many milliseconds. Negative: not before an acknowledgement.
VEKAPI_FLAT int CVekFlowCtrl_CheckFlowCtrl(CVekFlowCtrl* gate);

// Lets the calling thread sleep for so many milliseconds; for one when `ms` is above 0x7FFFFFFF, as a
// negative answer of CVekFlowCtrl_CheckFlowCtrl is.
VEKAPI_FLAT void CVekFlowCtrl_Sleep(unsigned ms);

// Calls OnVekFlowCtrlFree when a request may go: at once, or later. Nothing when not configured.
VEKAPI_FLAT void CVekFlowCtrl_StartCheckTimer(CVekFlowCtrl* gate);

// The gate's user lock. The thread that holds it may take it again, and gives it back as often. It must not
// connect, disconnect or delete a client meanwhile.
VEKAPI_FLAT void CVekFlowCtrl_Lock(CVekFlowCtrl* gate);
VEKAPI_FLAT void CVekFlowCtrl_Unlock(CVekFlowCtrl* gate);

// ---------------------------------------------------------------------------------------------------------
// Flow-controlled sender: a gate that sends requests of code 129 itself, and holds those that may not go yet.
// A request is two lines; it is sent or held, and held ones go first, in their order, several in one message.
//
// What to know before money hangs on it. A request that the link refuses counts as sent, and the functions
// that send do not tell: CVekFlowCtrlSender_RefusedCount does. What is held when a session ends stays held,
// and goes into the next session as soon as the rate allows, or is refused while there is none: call
// CVekFlowCtrlSender_DropPending or _TakePending in OnVekConnectEvent when that must not be. A new rate, or
// none, sends what is held soon, from the timer.

typedef struct CVekFlowCtrlSender {
  void* object;
} CVekFlowCtrlSender;

// A new sender, which belongs to the caller. It may outlive the client: everything is refused then. Not
// configured: everything goes at once.
VEKAPI_FLAT CVekFlowCtrlSender CVekFlowCtrlSender_Create(CVekClient* client);

// What a sender tells the thread that created it: how many of the requests that were held the link has taken,
// and how many of all it has refused, since it told the last time. `sender` is the address of a temporary
// handle, valid until the callback returns, which may do everything.
typedef void (*CVekOnFlowCtrlSenderSent)(CVekFlowCtrlSender* sender, void* user, unsigned sent,
                                         unsigned refused);

typedef struct CVekFlowCtrlSenderCallbacks {
  CVekOnFlowCtrlSenderSent OnVekFlowCtrlSenderSent;  // may be null
} CVekFlowCtrlSenderCallbacks;

// As CVekFlowCtrlSender_Create, with a callback on the calling thread, when that runs its message loop. What
// the sender holds goes when the rate allows it, as with every sender, whether the thread runs its loop or
// not. A null handle when the thread can have no window (or there is no memory).
VEKAPI_FLAT CVekFlowCtrlSender CVekFlowCtrlSender_Create_OnMessageLoop(
    CVekClient* client, const CVekFlowCtrlSenderCallbacks* callbacks, void* user);

// Drops what is held without sending it; otherwise as CVekFlowCtrl_Delete.
VEKAPI_FLAT void CVekFlowCtrlSender_Delete(CVekFlowCtrlSender* sender);

// As CVekFlowCtrl_SetFlowCtrl.
VEKAPI_FLAT void CVekFlowCtrlSender_SetFlowCtrl(CVekFlowCtrlSender* sender, int count, int ms);

// 1 when configured, else 0. An int, unlike CVekFlowCtrl_IsFlowCfg.
VEKAPI_FLAT int CVekFlowCtrlSender_IsFlowCfg(const CVekFlowCtrlSender* sender);

// Requests held.
VEKAPI_FLAT unsigned CVekFlowCtrlSender_PendingCount(const CVekFlowCtrlSender* sender);

// Sends what is held and may go now, and sees to the rest later.
VEKAPI_FLAT void CVekFlowCtrlSender_CheckPending(CVekFlowCtrlSender* sender);

// Drops what is held; returns how many requests that were. None of them has been sent, or will be.
VEKAPI_FLAT unsigned CVekFlowCtrlSender_DropPending(CVekFlowCtrlSender* sender);

// Takes the oldest request that is held out of the sender, unsent: copies its text into `buffer`, which has
// room for `size` bytes, without a NUL behind it. Returns the length of the text, 0 when nothing is held. A
// text that is longer than `size` stays where it is, and nothing is copied.
VEKAPI_FLAT unsigned CVekFlowCtrlSender_TakePending(CVekFlowCtrlSender* sender, char* buffer, unsigned size);

// Requests that the link refused, since the sender was created: they were not sent, and are not held. There
// was no session, its send queue was full, or there was no memory.
VEKAPI_FLAT unsigned CVekFlowCtrlSender_RefusedCount(const CVekFlowCtrlSender* sender);

// To be called with what OnVekRequestAckEvent brought: counts the acknowledged requests of code 129, may send
// held ones. Other codes and a null text are ignored.
VEKAPI_FLAT void CVekFlowCtrlSender_AckParser(CVekFlowCtrlSender* sender, int code, const char* text);

// `n` requests were acknowledged; may send held ones. The second argument is not used.
VEKAPI_FLAT void CVekFlowCtrlSender_SetAckTime(CVekFlowCtrlSender* sender, int ignored, unsigned n);

// One request: the buffer starts with five free bytes, its text follows, `length` counts both. The buffer is
// consumed. True when it was sent, or nothing is held after the call; false when it is held, or `length` is
// below 6 (it is dropped then).
VEKAPI_FLAT bool CVekFlowCtrlSender_SendVekRequest(CVekFlowCtrlSender* sender, char* buffer, unsigned length);

// Several requests, pairs of lines with line feeds between them, behind five free bytes; a last line without
// its partner is dropped. Returns how many were sent now; the others are held. The buffer is consumed.
VEKAPI_FLAT unsigned CVekFlowCtrlSender_SendVekRequests(CVekFlowCtrlSender* sender, char* buffer,
                                                        unsigned length);

// ---------------------------------------------------------------------------------------------------------
// Message loop: callbacks on the thread that created the client

// As CVekClient_Create, for a client whose callbacks run on the calling thread, when that thread runs its
// message loop. A null handle when the thread can have no window (or there is no memory).
//
// The loop. On Windows it is any loop of GetMessage and DispatchMessage, also a modal one (message box, menu,
// dragging). On every system CVekMessageLoop_Dispatch may take its place.
//
// Order. Callbacks come one after the other in the order of the wire. They come later than the event, and
// events from before a CVekClient_Connect or CVekClient_Disconnect, and those of these calls themselves, are
// still called when the call has returned. But inside a callback, on its thread, CVekClient_State,
// _IsSessionConnected, _SgnResult and _ServerName answer what was true at its event, whatever has happened
// since; outside callbacks, and on other threads, what is true now.
//
// Turns. One message brings a part of what waits, 10 ms' worth or a thousand events; the rest comes when
// everything else of the thread has had its turn: other clients, input, painting, timers.
//
// Waiting. A task result or password result is lent, so the session waits until its callback has returned:
// nothing else of that session arrives meanwhile. The thread answers these two, and with them what was queued
// before them, also while it waits inside a function of this library; so callbacks may come inside any call
// that connects, disconnects or deletes. The thread must not wait for the session by other means.
//
// Inside a callback the thread may do everything: connect, disconnect, delete, run a loop of its own (a
// message box). Other callbacks may or may not come inside that loop, which must not wait for them. After a
// deletion nothing is called any more but OnVekClientDestroyEvent, which CVekClient_Delete calls itself,
// before it returns, on its own thread; what was queued is dropped.
//
// CVekClient_Delete belongs on the creating thread. Another thread may call it outside callbacks; it then
// waits for the creating one to run its loop, or to end. A client whose thread has ended gets no callbacks
// but the last, and nothing is kept for it; it must still be deleted.
VEKAPI_FLAT CVekClient CVekClient_Create_OnMessageLoop(const CVekClientCallbacks* callbacks, void* user);

// Runs what waits for the calling thread, a thousand messages at most and not what comes meanwhile, and
// returns how many it ran. Waits up to `timeoutMs` milliseconds when there is nothing (0: does not wait;
// negative: waits for ever), and answers 0 when nothing came. Negative on error; on Windows also when the
// thread has been told to quit (WM_QUIT, which stays in the queue). On Windows it serves all the thread's
// windows. Inside a callback, too.
VEKAPI_FLAT int CVekMessageLoop_Dispatch(int timeoutMs);

// For event loops that watch descriptors (poll, epoll, GLib, Qt, asyncio): one that polls readable while
// something waits for the calling thread; call CVekMessageLoop_Dispatch(0) then. It belongs to the library
// and lives as long as the thread: not to be read or closed. -1 on Windows, where the thread's message loop
// serves everything, and on error.
VEKAPI_FLAT int CVekMessageLoop_Fd(void);

#ifdef __cplusplus
}
#endif

#endif  // VEKAPI_VEKAPIC_H
