// The flat C interface: everything the classes do, for callers that cannot use C++ classes. C99 and C++.
//
// Conventions
//
// Handles. A handle is a structure holding one pointer. Functions that create or find an object return its
// handle by value; all other functions take the address of the variable that holds the handle. A handle whose
// pointer is null is a null handle. Given a null handle, or a null address, a function does nothing and
// returns false, 0 or null (CVekField_Index: -1). In a language without structures the handle is a
// pointer-sized integer.
//
// Ownership. Clients, gates and senders belong to the caller, who must delete them; any order is valid.
// Deleting sets the handle to null, so a second deletion does nothing. Copies of the handle are not set to
// null and must not be used afterwards. Result objects (task results, tables, fields, properties) are
// borrowed: those reached from the task result of a callback are valid until that callback returns, those
// reached from CVekClient_SgnResult as long as stated there. Their texts are valid as long as they are.
//
// Texts. `const char*` texts end with NUL. Protocol texts and keys are ASCII; texts for users are code page
// 950 (Big5, Traditional Chinese). The library copies what it needs of an argument text before the function
// returns.
//
// Functions ending in _B return the same text as the function without _B, as an automation string of the same
// narrow bytes (a byte-length BSTR: a 32-bit byte count precedes the text, NULs follow it). The caller owns
// it and frees it with CVekApi_FreeBSTR, or on Windows with SysFreeString. Null if there is no text or no
// memory.
//
// Results. `bool` is one byte, 0 or 1; the upper bits of the register are undefined. C#: [return:
// MarshalAs(UnmanagedType.I1)]. VB and VBA: As Byte (never As Boolean). ctypes: c_bool. `int` and `unsigned`
// are 32 bits.
//
// Calling convention. Functions and callbacks use the platform's x86-64 convention.
//
// Threads. Unless stated otherwise, functions on one object may be called from any thread. Creating,
// deleting, connecting and disconnecting one object must not happen on two threads at once. Result objects do
// not change while the caller may use them. Callbacks run on the library's threads, and inside functions
// documented to do so. Callbacks of objects created by a function ending in _OnMessageLoop run on the thread
// that created the object.
//
// Errors. No function throws; out of memory gives the null result. A callback should not throw. If caller and
// library share a C++ runtime, an exception from a C++ callback is caught and dropped, as if the callback had
// returned; otherwise the behaviour is undefined. A callback must not be left by longjmp. If a thread is
// cancelled or exits (pthread_exit) inside a callback, that session is lost and the client must still be
// deleted; this must not happen inside OnVekClientDestroyEvent.
#ifndef VEKAPI_VEKAPIC_H
#define VEKAPI_VEKAPIC_H

#include <stdbool.h>
#include <stdint.h>

#include "vekapi/VekExport.h"

#ifdef __cplusplus
extern "C" {
#endif

// ---------------------------------------------------------------------------------------------------------
// Library

// The library's version, such as "0.1.0". The text is valid until the library is unloaded.
VEKAPI_FLAT const char* CVekApi_Version(void);

// Automation string: points to its first byte.
typedef char* CVekBSTR;

// Returns a new automation string with the bytes of `text` up to its NUL, unconverted. The caller frees it
// with CVekApi_FreeBSTR. Null if `text` is null or there is no memory.
VEKAPI_FLAT CVekBSTR CstrToBSTR(const char* text);

// Frees a string returned by CstrToBSTR or by a function ending in _B. Does nothing for null.
VEKAPI_FLAT void CVekApi_FreeBSTR(CVekBSTR text);

// ---------------------------------------------------------------------------------------------------------
// Properties: a name and key/value pairs. Keys are compared bytewise.

// The properties of a table or a column. Borrowed.
typedef struct CVekProperties {
  const void* object;  // null: a null handle
} CVekProperties;

// The value of `key`, or null if there is none.
VEKAPI_FLAT const char* CVekProperties_Get(const CVekProperties* properties, const char* key);
VEKAPI_FLAT CVekBSTR CVekProperties_Get_B(const CVekProperties* properties, const char* key);

// The name of the table or column; "" if it has none.
VEKAPI_FLAT const char* CVekProperties_Name(const CVekProperties* properties);
VEKAPI_FLAT CVekBSTR CVekProperties_Name_B(const CVekProperties* properties);

// The text to show to users: the value of "DisplayText", or the name if there is none.
VEKAPI_FLAT const char* CVekProperties_DisplayText(const CVekProperties* properties);
VEKAPI_FLAT CVekBSTR CVekProperties_DisplayText_B(const CVekProperties* properties);

// The value of "Description", or the display text if there is none.
VEKAPI_FLAT const char* CVekProperties_Description(const CVekProperties* properties);
VEKAPI_FLAT CVekBSTR CVekProperties_Description_B(const CVekProperties* properties);

// The pairs, without the name, in arrival order: 0x01 KEY "=" VALUE for each.
VEKAPI_FLAT const char* CVekProperties_ToString(const CVekProperties* properties);
VEKAPI_FLAT CVekBSTR CVekProperties_ToString_B(const CVekProperties* properties);

// ---------------------------------------------------------------------------------------------------------
// Fields: the columns of a table

// One column of a table. Borrowed.
typedef struct CVekField {
  const void* object;  // null: a null handle
} CVekField;

// All columns of a table. Borrowed.
typedef struct CVekFields {
  const void* object;  // null: a null handle
} CVekFields;

// The column's name and attributes.
VEKAPI_FLAT CVekProperties CVekField_Properties(const CVekField* field);

// Position in the table, counted from 0; -1 for a null handle.
VEKAPI_FLAT int CVekField_Index(const CVekField* field);

// The column of that name. Null handle if there is none.
VEKAPI_FLAT CVekField CVekFields_NameField(const CVekFields* fields, const char* name);

// The column with that index, counted from 0. Null handle if there is none.
VEKAPI_FLAT CVekField CVekFields_IndexField(const CVekFields* fields, int index);

// Number of columns.
VEKAPI_FLAT int CVekFields_Count(const CVekFields* fields);

// The names of all columns in table order, each ended by NUL; `*length` is set to their bytes, these NULs
// included. Borrowed like the columns. Null, with length 0, for a null handle; null if `length` is null.
VEKAPI_FLAT const char* CVekFields_Names(const CVekFields* fields, int32_t* length);

// ---------------------------------------------------------------------------------------------------------
// Tables

// A table of a result. Borrowed.
typedef struct CVekTable {
  const void* object;  // null: a null handle
} CVekTable;

// Account market of a table, as CVekTable_MktFlag returns it. The server may send other values.
enum {
  cvam_None = 0,            // the table does not say
  cvam_Stock = 1,           // domestic securities
  cvam_Futures = 2,         // domestic futures and options
  cvam_ForeignFutures = 3,  // foreign futures and options
  cvam_ForeignStock = 4     // foreign securities
};

// The table's name and attributes.
VEKAPI_FLAT CVekProperties CVekTable_Properties(const CVekTable* table);

// The columns, in table order.
VEKAPI_FLAT CVekFields CVekTable_Fields(const CVekTable* table);

// Number of records.
VEKAPI_FLAT int CVekTable_RecordsCount(const CVekTable* table);

// The value of one column of one record; "" if the record has no value for it. `row` and `col` count from 0.
// Null if there is no such record or column.
VEKAPI_FLAT const char* CVekTable_RecordIndexField(const CVekTable* table, int row, int col);
VEKAPI_FLAT CVekBSTR CVekTable_RecordIndexField_B(const CVekTable* table, int row, int col);

// As CVekTable_RecordIndexField, with the column given by its handle. Null for a null column.
VEKAPI_FLAT const char* CVekTable_RecordField(const CVekTable* table, int row, const CVekField* field);
VEKAPI_FLAT CVekBSTR CVekTable_RecordField_B(const CVekTable* table, int row, const CVekField* field);

// Consecutive records of a table as they lie in the library's memory, for readers of many values. Value `c`
// of the block's record `r` begins at text + starts[r * stride + c] and ends with NUL, for c below `values`.
// The bytes from text + starts[0] up to text + textEnd are these values and their NULs alone, record after
// record. They belong to the table and are valid as long as its texts are.
typedef struct CVekRecordBlock {
  const char* text;        // null if the records have no values
  const uint32_t* starts;  // positions in `text`
  uint32_t textEnd;        // where the values end in `text`
  int columns;             // of each record; those from `values` on are ""
  int values;              // of each record in `text`
  int stride;  // `values`, or more if the records have surplus values, which belong to the last column's
} CVekRecordBlock;

// Describes in `block` the records from `row` on that can be returned together, and returns their number:
// those that follow each other in the server's text and have the same number of values. A table of complete
// records is usually one block. Nothing is copied; takes time in proportion to the records. Returns 0, with
// the block zeroed, if there is no such record. All of a table:
//
//   for (row = 0; (count = CVekTable_RecordBlock(&table, row, &block)) > 0; row += count) ...
VEKAPI_FLAT int CVekTable_RecordBlock(const CVekTable* table, int row, CVekRecordBlock* block);

// The number in the table's "mkt" attribute: cvam_..., or another value if the server sent one.
VEKAPI_FLAT int CVekTable_MktFlag(const CVekTable* table);

// ---------------------------------------------------------------------------------------------------------
// Task results: the answer to a request

// The result of a query. Borrowed, unless a function says that the caller owns it.
typedef struct CVekTaskResult {
  const void* object;  // null: a null handle
} CVekTaskResult;

// The id that matches this answer to its request.
VEKAPI_FLAT const char* CVekTaskResult_WorkID(const CVekTaskResult* result);
VEKAPI_FLAT CVekBSTR CVekTaskResult_WorkID_B(const CVekTaskResult* result);

// The text that the tables were read from, as far as its first NUL.
VEKAPI_FLAT const char* CVekTaskResult_OrigResult(const CVekTaskResult* result);
VEKAPI_FLAT CVekBSTR CVekTaskResult_OrigResult_B(const CVekTaskResult* result);

// The table of that name. Null handle if there is none.
VEKAPI_FLAT CVekTable CVekTaskResult_NameTable(const CVekTaskResult* result, const char* name);

// The table with that index, counted from 0 in arrival order. Null handle if there is none.
VEKAPI_FLAT CVekTable CVekTaskResult_IndexTable(const CVekTaskResult* result, unsigned index);

// Number of tables.
VEKAPI_FLAT unsigned CVekTaskResult_TableCount(const CVekTaskResult* result);

// ---------------------------------------------------------------------------------------------------------
// Client: one session with an order-routing server

// A client, owned by the caller: CVekClient_Delete.
typedef struct CVekClient {
  void* object;  // null: a null handle
} CVekClient;

// States of a client (CVekClient_State). docs/events.md lists the transitions.
enum {
  cvcs_HeartbeatTimeout = -7,  // no data from the server for a heartbeat period; the link stays open
  cvcs_ConnectError = -6,      // the server refused the connect request
  cvcs_SgnError = -5,          // the server refused the sign-on; the link stays open for a password change
  cvcs_UnknownServer = -4,     // the server did not answer the connect request
  cvcs_LinkBroken = -3,        // the link broke, or received bytes were not valid packets
  cvcs_LinkError = -2,         // the link could not be opened
  cvcs_Disconnected = -1,      // after CVekClient_Disconnect
  cvcs_None = 0,               // new client
  cvcs_Connecting = 1,         // the link is being opened
  cvcs_Connected = 2,          // connect request accepted, sign-on sent
  cvcs_ApReady = 3             // signed on; requests may be sent
};

// Message codes. Requests are sent with cvmc_TaskResult and cvmc_RequestAck. Codes 129 and 131 arrive as
// OnVekRequestAckEvent, 130 as OnVekReportEvent.
enum {
  cvmc_TaskResult = 128,  // a query and its result; limited to the query rate given at sign-on
  cvmc_RequestAck = 129,  // a request and its acknowledgement
  cvmc_Report = 130,      // a report, sent by the server only
  cvmc_RequestAck2 = 131  // a second kind of acknowledgement
};

// Reasons given by the library itself in OnVekConnectEvent and OnVekChgPassResultEvent (CVekApi_ReasonOf).
enum {
  cvre_Other = 0,             // a text of the server or the operating system, or none
  cvre_Disconnect = 1,        // CVekClient_Disconnect was called
  cvre_HeartbeatTimeout = 2,  // with cvcs_HeartbeatTimeout
  cvre_UnknownServer = 3,     // with cvcs_UnknownServer
  cvre_BadPacketLength = 4,   // with cvcs_LinkBroken: received bytes are not valid packets
  cvre_LongMessage = 5,       // with cvcs_LinkBroken: a message exceeded the size limit
  cvre_BadSetting = 6,        // with cvcs_LinkError: invalid setting
  cvre_BadApName = 7,         // with cvcs_LinkError: the application name is too long
  cvre_SignOnTooLong = 8,     // with cvcs_SgnError: identity and password together are too long
  cvre_ChgPassTooLong = 9,    // from CVekClient_ChgPass: its texts together are too long
  cvre_ConnectTimeout = 10,   // with cvcs_LinkError: the link did not open in time
  cvre_SignOnTimeout = 11,    // with cvcs_LinkBroken: no answer to the sign-on in time
  cvre_NoMemory = 12          // with cvcs_LinkError or cvcs_LinkBroken
};

// The cvre_... value of a reason text, compared as a whole. cvre_Other for null and for unknown texts.
VEKAPI_FLAT int CVekApi_ReasonOf(const char* reason);

// Callbacks of a client.
//
// `client` is the address of a temporary handle to the client; `user` is the pointer passed to
// CVekClient_Create. The temporary handle and all other arguments are valid until the callback returns.
//
// Callbacks of one client never overlap and arrive in wire order. They run on the library's threads (link,
// timer), or inside CVekClient_Connect, _Disconnect, _ChgPass and _Delete on the caller's thread.
//
// Inside every callback except OnVekClientDestroyEvent any function may be called on that client, including
// CVekClient_Delete (with the temporary handle or the caller's own; only the handle passed in becomes null).

// A message with a code unknown to the library. `packet` is the whole message, header included, `length`
// bytes.
typedef void (*CVekOnUnknownMsgCode)(CVekClient* client, void* user, int msgCode, const char* packet,
                                     int length);

// The state changed; read it with CVekClient_State. `reason` is empty if the server accepted the connect
// request; otherwise it gives the cause.
typedef void (*CVekOnConnect)(CVekClient* client, void* user, const char* reason);

// Signed on: CVekClient_SgnResult holds the accounts, and requests may be sent.
typedef void (*CVekOnApReady)(CVekClient* client, void* user);

// The result of a query (code 128).
typedef void (*CVekOnTaskResult)(CVekClient* client, void* user, const CVekTaskResult* result);

// The answer to CVekClient_ChgPass. `resultText` is for display.
typedef void (*CVekOnChgPassResult)(CVekClient* client, void* user, const char* userId,
                                    const char* resultText);

// An acknowledgement, `msgCode` 129 or 131. With 129 the text has one line per acknowledged request; pass
// code and text to CVekFlowCtrlSender_AckParser.
typedef void (*CVekOnRequestAck)(CVekClient* client, void* user, int msgCode, const char* ackText);

// A report from the server (code 130).
typedef void (*CVekOnReport)(CVekClient* client, void* user, const char* reportText);

// The client is being deleted. This is its last callback, on the thread that deletes it. The handle passed to
// CVekClient_Delete is already null and is not accessed again, so its memory may be freed here. `client` may
// be used to read the state; deleting it again does nothing.
typedef void (*CVekOnClientDestroy)(CVekClient* client, void* user);

// Events whose entry is null are dropped. A caller in a managed language must keep the delegates behind the
// entries alive until the client is deleted.
typedef struct CVekClientCallbacks {
  CVekOnUnknownMsgCode OnVekUnknownMsgCodeEvent;  // a message with an unknown code
  CVekOnConnect OnVekConnectEvent;                // a change of state
  CVekOnApReady OnVekApReadyEvent;                // signed on
  CVekOnTaskResult OnVekTaskResultEvent;          // the result of a query
  CVekOnChgPassResult OnVekChgPassResultEvent;    // the answer to a password change
  CVekOnRequestAck OnVekRequestAckEvent;          // an acknowledgement
  CVekOnReport OnVekReportEvent;                  // a report
  CVekOnClientDestroy OnVekClientDestroyEvent;    // the end of the client
} CVekClientCallbacks;

// Returns a new client, owned by the caller. The table is copied; a null table has null entries only. `user`
// is passed to the callbacks and otherwise not used.
VEKAPI_FLAT CVekClient CVekClient_Create(const CVekClientCallbacks* callbacks, void* user);

// Calls OnVekClientDestroyEvent, closes the session and frees the client. The handle becomes null before that
// callback. Waits for a callback running on another thread; a waiting thread keeps answering messages sent to
// its windows. No callback follows, unless the call was made inside one. Must not overlap with any other
// function on that client.
VEKAPI_FLAT void CVekClient_Delete(CVekClient* client);

// The client's cvcs_... state.
VEKAPI_FLAT int CVekClient_State(const CVekClient* client);

// True at cvcs_Connected, cvcs_ApReady and cvcs_SgnError.
VEKAPI_FLAT bool CVekClient_IsSessionConnected(const CVekClient* client);

// Closes any earlier session and opens a new one. Returns true if the attempt was started; its outcome
// arrives as callbacks. An invalid setting calls OnVekConnectEvent in state cvcs_LinkError before the
// function returns. Returns false and does nothing if a text other than the password is null; a null password
// is empty.
//
// `setting` is "HOST:PORT" for TCP, or ":KIND:PARAMETERS" (docs/settings.md). `apVersion` is four numbers,
// such as "1.2.3.4". `id1` and `id2` are joined by "/" into the user identity. Identity and password are
// limited to 255 bytes each. Must not overlap with _Connect, _Disconnect or _Delete of the same client on
// another thread.
VEKAPI_FLAT bool CVekClient_Connect(CVekClient* client, const char* setting, const char* apName,
                                    const char* apVersion, const char* id1, const char* id2,
                                    const char* password);

// Closes the session and calls OnVekConnectEvent with "Disconnect()" in state cvcs_Disconnected. No callback
// of that session follows.
VEKAPI_FLAT void CVekClient_Disconnect(CVekClient* client);

// The result that ended the last sign-on; empty before the first one.
//
// For a client on a message loop: inside its callbacks, the result that was current at that event, valid
// until the callback returns; outside, the latest result, valid until this function or CVekClient_ServerName
// is next called for that client outside its callbacks. For other clients: valid as long as the client lives,
// but the next sign-on replaces its content, so read it inside callbacks or while no sign-on can be in
// progress.
VEKAPI_FLAT CVekTaskResult CVekClient_SgnResult(const CVekClient* client);

// Name and version of the server, such as "GW.2.0.1.15"; "" while not connected, null for a null handle.
// Called inside a callback, the text is valid until the callback returns; otherwise the rules of
// CVekClient_SgnResult apply.
VEKAPI_FLAT const char* CVekClient_ServerName(const CVekClient* client);

// Asks the server to change a password; the answer arrives as OnVekChgPassResultEvent. Returns false if not
// connected, if the link refused the request, if the texts exceed 4091 bytes together (the event then says
// so), or if `user` is null. Null passwords are empty. Each text is limited to 255 bytes.
VEKAPI_FLAT bool CVekClient_ChgPass(CVekClient* client, const char* user, const char* oldPassword,
                                    const char* newPassword);

// Scrambles a complete packet of `length` bytes in place, from the fourth byte on, if the session uses
// scrambling.
VEKAPI_FLAT void CVekClient_EncPacket(const CVekClient* client, char* packet, int length);

// Sends a complete packet of `length` bytes, header included. Returns true if the link accepted it. The
// buffer is scrambled in place.
VEKAPI_FLAT bool CVekClient_SendPk(CVekClient* client, char* packet, int length);

// Sends a request. The buffer starts with five bytes reserved for the library, followed by the text; `length`
// counts both and is at least 6. The buffer is modified. Returns true if the link accepted the whole request,
// false if nothing was sent. A query (code 128) also returns false when the query rate given at sign-on is
// used up; the buffer is then unmodified and may be sent again later.
VEKAPI_FLAT bool CVekClient_SendVekRequest(CVekClient* client, int msgCode, char* buffer, unsigned length);

// Sends a query (cvmc_TaskResult) and reports how long to wait: 0 if sent; a positive number of milliseconds
// until the query rate allows it (buffer unmodified); -1 if it was not sent and waiting will not help.
VEKAPI_FLAT int CVekClient_SendVekQueryRequest(CVekClient* client, char* buffer, unsigned length);

// ---------------------------------------------------------------------------------------------------------
// Flow-control gate: limits requests of code 129 to a count per interval, as the server counts them. A
// request's interval starts when it is acknowledged.
//
// A gate is waiting once CVekFlowCtrl_StartCheckTimer, or an acknowledgement, has found it closed.
// OnVekFlowCtrlFree ends the wait. A new rate also applies to a waiting gate: the timer then calls back soon.

// A gate, owned by the caller: CVekFlowCtrl_Delete.
typedef struct CVekFlowCtrl {
  void* object;  // null: a null handle
} CVekFlowCtrl;

// The gate is open again. Runs inside CVekFlowCtrl_SetAckTime and CVekFlowCtrl_StartCheckTimer on the
// caller's thread, or on a timer thread, with the gate's locks held. It may call every function of this gate
// and send with any client. It must not connect, disconnect or delete a client, or wait for a thread that
// uses the gate or runs a client's callback. It may delete the gate if no other thread uses it and it was not
// locked with CVekFlowCtrl_Lock. `gate` is the address of a temporary handle, valid until the callback
// returns.
typedef void (*CVekOnFlowCtrlFree)(CVekFlowCtrl* gate, void* user);

// Callbacks of a gate.
typedef struct CVekFlowCtrlCallbacks {
  CVekOnFlowCtrlFree OnVekFlowCtrlFree;  // may be null
} CVekFlowCtrlCallbacks;

// Returns a new gate, owned by the caller. Until configured, it is open. The table is copied; a null table
// has a null entry.
VEKAPI_FLAT CVekFlowCtrl CVekFlowCtrl_Create(const CVekFlowCtrlCallbacks* callbacks, void* user);

// As CVekFlowCtrl_Create, with the callback on the calling thread, when that thread runs its message loop
// (see "Message loop" below), and without locks held. The callback may do anything, including connecting,
// disconnecting and deleting clients and deleting the gate. Null handle if the thread cannot have a window or
// there is no memory.
//
// Several openings before the callback runs count as one. Another thread may have used the free slot by then:
// a callback that finds the gate closed (CVekFlowCtrl_CheckFlowCtrl) calls CVekFlowCtrl_StartCheckTimer
// again.
VEKAPI_FLAT CVekFlowCtrl CVekFlowCtrl_Create_OnMessageLoop(const CVekFlowCtrlCallbacks* callbacks,
                                                           void* user);

// Deletes the gate. Waits for a callback running on another thread; none follows. No other thread may use the
// gate any more or hold its lock.
VEKAPI_FLAT void CVekFlowCtrl_Delete(CVekFlowCtrl* gate);

// True if a rate is set.
VEKAPI_FLAT bool CVekFlowCtrl_IsFlowCfg(const CVekFlowCtrl* gate);

// Removes the rate and forgets past requests. A waiting gate calls OnVekFlowCtrlFree soon.
VEKAPI_FLAT void CVekFlowCtrl_Clear(CVekFlowCtrl* gate);

// Sets the rate: `count` requests within any `ms` milliseconds. Forgets past requests. If either value is
// below 1, same as CVekFlowCtrl_Clear. Call it again when a new session is ready: requests sent over an ended
// link are never acknowledged and would keep their slots.
VEKAPI_FLAT void CVekFlowCtrl_SetFlowCtrl(CVekFlowCtrl* gate, int count, int ms);

// Records that `n` requests were acknowledged. May call OnVekFlowCtrlFree.
VEKAPI_FLAT void CVekFlowCtrl_SetAckTime(CVekFlowCtrl* gate, unsigned n);

// Asks to send one request now. 0: allowed, and counted as sent (also for a null handle). Positive: not now;
// ask again after that many milliseconds. Negative: not before an acknowledgement arrives.
VEKAPI_FLAT int CVekFlowCtrl_CheckFlowCtrl(CVekFlowCtrl* gate);

// Sleeps for `ms` milliseconds on the calling thread; for 1 ms if `ms` is above 0x7FFFFFFF, as a negative
// result of CVekFlowCtrl_CheckFlowCtrl is.
VEKAPI_FLAT void CVekFlowCtrl_Sleep(unsigned ms);

// Calls OnVekFlowCtrlFree when a request may be sent: immediately or later. Does nothing if no rate is set.
VEKAPI_FLAT void CVekFlowCtrl_StartCheckTimer(CVekFlowCtrl* gate);

// Takes the gate's user lock. It is recursive: unlock as often as locked. While holding it, a thread must not
// connect, disconnect or delete a client.
VEKAPI_FLAT void CVekFlowCtrl_Lock(CVekFlowCtrl* gate);

// Releases the gate's user lock once.
VEKAPI_FLAT void CVekFlowCtrl_Unlock(CVekFlowCtrl* gate);

// ---------------------------------------------------------------------------------------------------------
// Flow-controlled sender: a gate that sends requests of code 129 itself and holds back those the rate does
// not allow yet. A request is two lines. Held requests are sent first, in order, several per message.
//
// A request that the link refuses counts as sent, and the sending functions do not report it: check
// CVekFlowCtrlSender_RefusedCount. Requests held when a session ends stay held. They are sent in the next
// session as soon as the rate allows, or refused while there is none. To prevent that, call
// CVekFlowCtrlSender_DropPending or _TakePending in OnVekConnectEvent. After a new rate is set, or the rate
// removed, the timer soon sends what is then allowed.

// A sender, owned by the caller: CVekFlowCtrlSender_Delete.
typedef struct CVekFlowCtrlSender {
  void* object;  // null: a null handle
} CVekFlowCtrlSender;

// Returns a new sender, owned by the caller. It may outlive the client; all requests are then refused. Until
// a rate is set, requests are sent immediately.
VEKAPI_FLAT CVekFlowCtrlSender CVekFlowCtrlSender_Create(CVekClient* client);

// Reports, since the previous call, how many held requests the link accepted (`sent`) and how many requests
// of any kind it refused (`refused`). Runs on the thread that created the sender. `sender` is the address of
// a temporary handle, valid until the callback returns. The callback may do anything.
typedef void (*CVekOnFlowCtrlSenderSent)(CVekFlowCtrlSender* sender, void* user, unsigned sent,
                                         unsigned refused);

// Callbacks of a sender.
typedef struct CVekFlowCtrlSenderCallbacks {
  CVekOnFlowCtrlSenderSent OnVekFlowCtrlSenderSent;  // may be null
} CVekFlowCtrlSenderCallbacks;

// As CVekFlowCtrlSender_Create, with a callback on the calling thread when that thread runs its message loop.
// Held requests are sent when the rate allows, whether or not the thread runs its loop. Null handle if the
// thread cannot have a window or there is no memory.
VEKAPI_FLAT CVekFlowCtrlSender CVekFlowCtrlSender_Create_OnMessageLoop(
    CVekClient* client, const CVekFlowCtrlSenderCallbacks* callbacks, void* user);

// Drops the held requests without sending them; otherwise as CVekFlowCtrl_Delete.
VEKAPI_FLAT void CVekFlowCtrlSender_Delete(CVekFlowCtrlSender* sender);

// As CVekFlowCtrl_SetFlowCtrl.
VEKAPI_FLAT void CVekFlowCtrlSender_SetFlowCtrl(CVekFlowCtrlSender* sender, int count, int ms);

// 1 if a rate is set, else 0. An int, unlike CVekFlowCtrl_IsFlowCfg.
VEKAPI_FLAT int CVekFlowCtrlSender_IsFlowCfg(const CVekFlowCtrlSender* sender);

// Number of held requests.
VEKAPI_FLAT unsigned CVekFlowCtrlSender_PendingCount(const CVekFlowCtrlSender* sender);

// Sends the held requests that the rate allows now; the rest follow by timer.
VEKAPI_FLAT void CVekFlowCtrlSender_CheckPending(CVekFlowCtrlSender* sender);

// Drops the held requests and returns their number. They were not sent and will not be.
VEKAPI_FLAT unsigned CVekFlowCtrlSender_DropPending(CVekFlowCtrlSender* sender);

// Removes the oldest held request without sending it: copies its text into `buffer`, which has space for
// `size` bytes, without a terminating NUL. Returns the text's length, or 0 if nothing is held. A text longer
// than `size` stays held; its length is returned and nothing is copied.
VEKAPI_FLAT unsigned CVekFlowCtrlSender_TakePending(CVekFlowCtrlSender* sender, char* buffer, unsigned size);

// Number of requests that the link refused since the sender was created: not sent and not held. Causes: no
// session, a full send queue, no memory.
VEKAPI_FLAT unsigned CVekFlowCtrlSender_RefusedCount(const CVekFlowCtrlSender* sender);

// Call it with the arguments of OnVekRequestAckEvent. Counts the acknowledged requests of code 129; may send
// held ones. Other codes and a null text are ignored.
VEKAPI_FLAT void CVekFlowCtrlSender_AckParser(CVekFlowCtrlSender* sender, int code, const char* text);

// Records that `n` requests were acknowledged; may send held ones. The second argument is ignored.
VEKAPI_FLAT void CVekFlowCtrlSender_SetAckTime(CVekFlowCtrlSender* sender, int ignored, unsigned n);

// Sends or holds one request: five bytes reserved for the library, then the text; `length` counts both. The
// buffer is modified. Returns true if nothing is held after the call; false if a request is held, or if
// `length` is below 6 (the request is dropped).
VEKAPI_FLAT bool CVekFlowCtrlSender_SendVekRequest(CVekFlowCtrlSender* sender, char* buffer, unsigned length);

// Sends or holds several requests: five bytes reserved for the library, then pairs of lines separated by line
// feeds. A last line without a partner is dropped. Returns how many were sent now; the others are held. The
// buffer is modified.
VEKAPI_FLAT unsigned CVekFlowCtrlSender_SendVekRequests(CVekFlowCtrlSender* sender, char* buffer,
                                                        unsigned length);

// ---------------------------------------------------------------------------------------------------------
// Message loop: callbacks on the thread that created the client

// As CVekClient_Create, with all callbacks on the calling thread, when that thread runs its message loop.
// Null handle if the thread cannot have a window or there is no memory.
//
// The loop. On Windows any loop of GetMessage and DispatchMessage, including modal ones (message box, menu,
// dragging). On both systems CVekMessageLoop_Dispatch may be used instead.
//
// Order. Callbacks run one at a time in wire order, later than the event. Events from before a
// CVekClient_Connect or CVekClient_Disconnect, and the events of these calls themselves, are delivered after
// the call has returned. Inside a callback, on its thread, CVekClient_State, _IsSessionConnected, _SgnResult
// and _ServerName return the values at the time of the event; outside callbacks and on other threads, the
// current values.
//
// Batches. One message delivers at most 10 ms' worth of events or a thousand of them. The rest follows after
// the thread's other work: other clients, input, painting, timers.
//
// Waiting. Task results and password results are borrowed, so the session waits until their callback has
// returned; meanwhile nothing else of that session arrives. The thread delivers these two events, and those
// queued before them, also while it waits inside a function of this library. Callbacks may therefore run
// inside any call that connects, disconnects or deletes. The thread must not wait for the session in any
// other way.
//
// Inside a callback the thread may do anything: connect, disconnect, delete, run a nested loop (a message
// box). Other callbacks may or may not run inside that nested loop, so it must not wait for them. After
// deletion only OnVekClientDestroyEvent is called, by CVekClient_Delete itself on its own thread before it
// returns; queued events are dropped.
//
// CVekClient_Delete should be called on the creating thread. Another thread may call it outside callbacks; it
// then waits for the creating thread to run its loop or to end. A client whose thread has ended gets no
// callbacks except the last, and queues nothing; it must still be deleted.
VEKAPI_FLAT CVekClient CVekClient_Create_OnMessageLoop(const CVekClientCallbacks* callbacks, void* user);

// Delivers the messages waiting for the calling thread, at most a thousand and none that arrive meanwhile,
// and returns their number. If there are none, waits up to `timeoutMs` milliseconds (0: does not wait;
// negative: no limit) and returns 0 on timeout. Returns a negative value on error, and on Windows also if
// WM_QUIT is queued (it stays in the queue). On Windows it serves all windows of the thread. May be called
// inside a callback.
VEKAPI_FLAT int CVekMessageLoop_Dispatch(int timeoutMs);

// For event loops that watch descriptors (poll, epoll, GLib, Qt, asyncio): a descriptor that is readable
// while messages wait for the calling thread; then call CVekMessageLoop_Dispatch(0). Owned by the library and
// valid for the thread's lifetime; do not read or close it. -1 on error, and on Windows, where the thread's
// message loop serves everything.
VEKAPI_FLAT int CVekMessageLoop_Fd(void);

#ifdef __cplusplus
}
#endif

#endif  // VEKAPI_VEKAPIC_H
