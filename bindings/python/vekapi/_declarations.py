# Made by tools/gen_bindings/make_bindings.py from include/vekapi/VekApiC.h. Not to be edited.
# The types, constants and functions of VekApiC.h, for ctypes. A text that comes back is bytes; a buffer that the
# library writes into is what ctypes.create_string_buffer makes.
from ctypes import CFUNCTYPE, POINTER, Structure, c_bool, c_char, c_char_p, c_int, c_uint, c_void_p


class Handle(Structure):
    _fields_ = [("object", c_void_p)]

    def __bool__(self):
        return bool(self.object)


class CVekProperties(Handle): pass
class CVekField(Handle): pass
class CVekFields(Handle): pass
class CVekTable(Handle): pass
class CVekTaskResult(Handle): pass
class CVekClient(Handle): pass
class CVekFlowCtrl(Handle): pass
class CVekFlowCtrlSender(Handle): pass

# Account market of a table, as CVekTable_MktFlag returns it. The server may send other values.
cvam_None = 0  # the table does not say
cvam_Stock = 1  # domestic securities
cvam_Futures = 2  # domestic futures and options
cvam_ForeignFutures = 3  # foreign futures and options
cvam_ForeignStock = 4  # foreign securities

# States of a client (CVekClient_State). docs/events.md lists the transitions.
cvcs_HeartbeatTimeout = -7  # no data from the server for a heartbeat period; the link stays open
cvcs_ConnectError = -6  # the server refused the connect request
cvcs_SgnError = -5  # the server refused the sign-on; the link stays open for a password change
cvcs_UnknownServer = -4  # the server did not answer the connect request
cvcs_LinkBroken = -3  # the link broke, or received bytes were not valid packets
cvcs_LinkError = -2  # the link could not be opened
cvcs_Disconnected = -1  # after CVekClient_Disconnect
cvcs_None = 0  # new client
cvcs_Connecting = 1  # the link is being opened
cvcs_Connected = 2  # connect request accepted, sign-on sent
cvcs_ApReady = 3  # signed on; requests may be sent

# Message codes. Requests are sent with cvmc_TaskResult and cvmc_RequestAck. Codes 129 and 131 arrive as
# OnVekRequestAckEvent, 130 as OnVekReportEvent.
cvmc_TaskResult = 128  # a query and its result; limited to the query rate given at sign-on
cvmc_RequestAck = 129  # a request and its acknowledgement
cvmc_Report = 130  # a report, sent by the server only
cvmc_RequestAck2 = 131  # a second kind of acknowledgement

# Reasons given by the library itself in OnVekConnectEvent and OnVekChgPassResultEvent (CVekApi_ReasonOf).
cvre_Other = 0  # a text of the server or the operating system, or none
cvre_Disconnect = 1  # CVekClient_Disconnect was called
cvre_HeartbeatTimeout = 2  # with cvcs_HeartbeatTimeout
cvre_UnknownServer = 3  # with cvcs_UnknownServer
cvre_BadPacketLength = 4  # with cvcs_LinkBroken: received bytes are not valid packets
cvre_LongMessage = 5  # with cvcs_LinkBroken: a message exceeded the size limit
cvre_BadSetting = 6  # with cvcs_LinkError: invalid setting
cvre_BadApName = 7  # with cvcs_LinkError: the application name is too long
cvre_SignOnTooLong = 8  # with cvcs_SgnError: identity and password together are too long
cvre_ChgPassTooLong = 9  # from CVekClient_ChgPass: its texts together are too long
cvre_ConnectTimeout = 10  # with cvcs_LinkError: the link did not open in time
cvre_SignOnTimeout = 11  # with cvcs_LinkBroken: no answer to the sign-on in time
cvre_NoMemory = 12  # with cvcs_LinkError or cvcs_LinkBroken

# A message with a code unknown to the library. `packet` is the whole message, header included, `length`
# bytes.
CVekOnUnknownMsgCode = CFUNCTYPE(None, POINTER(CVekClient), c_void_p, c_int, c_void_p, c_int)
# The state changed; read it with CVekClient_State. `reason` is empty if the server accepted the connect
# request; otherwise it gives the cause.
CVekOnConnect = CFUNCTYPE(None, POINTER(CVekClient), c_void_p, c_char_p)
# Signed on: CVekClient_SgnResult holds the accounts, and requests may be sent.
CVekOnApReady = CFUNCTYPE(None, POINTER(CVekClient), c_void_p)
# The result of a query (code 128).
CVekOnTaskResult = CFUNCTYPE(None, POINTER(CVekClient), c_void_p, POINTER(CVekTaskResult))
# The answer to CVekClient_ChgPass. `resultText` is for display.
CVekOnChgPassResult = CFUNCTYPE(None, POINTER(CVekClient), c_void_p, c_char_p, c_char_p)
# An acknowledgement, `msgCode` 129 or 131. With 129 the text has one line per acknowledged request; pass
# code and text to CVekFlowCtrlSender_AckParser.
CVekOnRequestAck = CFUNCTYPE(None, POINTER(CVekClient), c_void_p, c_int, c_char_p)
# A report from the server (code 130).
CVekOnReport = CFUNCTYPE(None, POINTER(CVekClient), c_void_p, c_char_p)
# The client is being deleted. This is its last callback, on the thread that deletes it. The handle passed to
# CVekClient_Delete is already null and is not accessed again, so its memory may be freed here. `client` may
# be used to read the state; deleting it again does nothing.
CVekOnClientDestroy = CFUNCTYPE(None, POINTER(CVekClient), c_void_p)
# The gate is open again. Runs inside CVekFlowCtrl_SetAckTime and CVekFlowCtrl_StartCheckTimer on the
# caller's thread, or on a timer thread, with the gate's locks held. It may call every function of this gate
# and send with any client. It must not connect, disconnect or delete a client, or wait for a thread that
# uses the gate or runs a client's callback. It may delete the gate if no other thread uses it and it was not
# locked with CVekFlowCtrl_Lock. `gate` is the address of a temporary handle, valid until the callback
# returns.
CVekOnFlowCtrlFree = CFUNCTYPE(None, POINTER(CVekFlowCtrl), c_void_p)
# Reports, since the previous call, how many held requests the link accepted (`sent`) and how many requests
# of any kind it refused (`refused`). Runs on the thread that created the sender. `sender` is the address of
# a temporary handle, valid until the callback returns. The callback may do anything.
CVekOnFlowCtrlSenderSent = CFUNCTYPE(None, POINTER(CVekFlowCtrlSender), c_void_p, c_uint, c_uint)


class CVekClientCallbacks(Structure):
    _fields_ = [
        ("OnVekUnknownMsgCodeEvent", CVekOnUnknownMsgCode),
        ("OnVekConnectEvent", CVekOnConnect),
        ("OnVekApReadyEvent", CVekOnApReady),
        ("OnVekTaskResultEvent", CVekOnTaskResult),
        ("OnVekChgPassResultEvent", CVekOnChgPassResult),
        ("OnVekRequestAckEvent", CVekOnRequestAck),
        ("OnVekReportEvent", CVekOnReport),
        ("OnVekClientDestroyEvent", CVekOnClientDestroy),
    ]


class CVekFlowCtrlCallbacks(Structure):
    _fields_ = [
        ("OnVekFlowCtrlFree", CVekOnFlowCtrlFree),
    ]


class CVekFlowCtrlSenderCallbacks(Structure):
    _fields_ = [
        ("OnVekFlowCtrlSenderSent", CVekOnFlowCtrlSenderSent),
    ]


# name: result, arguments
PROTOTYPES = {
    # The library's version, such as "0.1.0". The text is valid until the library is unloaded.
    "CVekApi_Version": (c_char_p, []),
    # Returns a new automation string with the bytes of `text` up to its NUL, unconverted. The caller frees it
    # with CVekApi_FreeBSTR. Null if `text` is null or there is no memory.
    "CstrToBSTR": (c_void_p, [c_char_p]),
    # Frees a string returned by CstrToBSTR or by a function ending in _B. Does nothing for null.
    "CVekApi_FreeBSTR": (None, [c_void_p]),
    # The value of `key`, or null if there is none.
    "CVekProperties_Get": (c_char_p, [POINTER(CVekProperties), c_char_p]),
    # The value of `key`, or null if there is none.
    "CVekProperties_Get_B": (c_void_p, [POINTER(CVekProperties), c_char_p]),
    # The name of the table or column; "" if it has none.
    "CVekProperties_Name": (c_char_p, [POINTER(CVekProperties)]),
    # The name of the table or column; "" if it has none.
    "CVekProperties_Name_B": (c_void_p, [POINTER(CVekProperties)]),
    # The text to show to users: the value of "DisplayText", or the name if there is none.
    "CVekProperties_DisplayText": (c_char_p, [POINTER(CVekProperties)]),
    # The text to show to users: the value of "DisplayText", or the name if there is none.
    "CVekProperties_DisplayText_B": (c_void_p, [POINTER(CVekProperties)]),
    # The value of "Description", or the display text if there is none.
    "CVekProperties_Description": (c_char_p, [POINTER(CVekProperties)]),
    # The value of "Description", or the display text if there is none.
    "CVekProperties_Description_B": (c_void_p, [POINTER(CVekProperties)]),
    # The pairs, without the name, in arrival order: 0x01 KEY "=" VALUE for each.
    "CVekProperties_ToString": (c_char_p, [POINTER(CVekProperties)]),
    # The pairs, without the name, in arrival order: 0x01 KEY "=" VALUE for each.
    "CVekProperties_ToString_B": (c_void_p, [POINTER(CVekProperties)]),
    # The column's name and attributes.
    "CVekField_Properties": (CVekProperties, [POINTER(CVekField)]),
    # Position in the table, counted from 0; -1 for a null handle.
    "CVekField_Index": (c_int, [POINTER(CVekField)]),
    # A column by name, or by index counted from 0. Null handle if there is no such column.
    "CVekFields_NameField": (CVekField, [POINTER(CVekFields), c_char_p]),
    # A column by name, or by index counted from 0. Null handle if there is no such column.
    "CVekFields_IndexField": (CVekField, [POINTER(CVekFields), c_int]),
    # Number of columns.
    "CVekFields_Count": (c_int, [POINTER(CVekFields)]),
    # The table's name and attributes.
    "CVekTable_Properties": (CVekProperties, [POINTER(CVekTable)]),
    # The columns, in table order.
    "CVekTable_Fields": (CVekFields, [POINTER(CVekTable)]),
    # Number of records.
    "CVekTable_RecordsCount": (c_int, [POINTER(CVekTable)]),
    # The value of one column of one record; "" if the record has no value for it. `row` and `col` count from 0.
    # Null if there is no such record or column.
    "CVekTable_RecordIndexField": (c_char_p, [POINTER(CVekTable), c_int, c_int]),
    # The value of one column of one record; "" if the record has no value for it. `row` and `col` count from 0.
    # Null if there is no such record or column.
    "CVekTable_RecordIndexField_B": (c_void_p, [POINTER(CVekTable), c_int, c_int]),
    # As CVekTable_RecordIndexField, with the column given by its handle. Null for a null column.
    "CVekTable_RecordField": (c_char_p, [POINTER(CVekTable), c_int, POINTER(CVekField)]),
    # As CVekTable_RecordIndexField, with the column given by its handle. Null for a null column.
    "CVekTable_RecordField_B": (c_void_p, [POINTER(CVekTable), c_int, POINTER(CVekField)]),
    # The number in the table's "mkt" attribute: cvam_..., or another value if the server sent one.
    "CVekTable_MktFlag": (c_int, [POINTER(CVekTable)]),
    # The id that matches this answer to its request.
    "CVekTaskResult_WorkID": (c_char_p, [POINTER(CVekTaskResult)]),
    # The id that matches this answer to its request.
    "CVekTaskResult_WorkID_B": (c_void_p, [POINTER(CVekTaskResult)]),
    # The text that the tables were read from, as far as its first NUL.
    "CVekTaskResult_OrigResult": (c_char_p, [POINTER(CVekTaskResult)]),
    # The text that the tables were read from, as far as its first NUL.
    "CVekTaskResult_OrigResult_B": (c_void_p, [POINTER(CVekTaskResult)]),
    # A table by name, or by index counted from 0, in arrival order. Null handle if there is no such table.
    "CVekTaskResult_NameTable": (CVekTable, [POINTER(CVekTaskResult), c_char_p]),
    # A table by name, or by index counted from 0, in arrival order. Null handle if there is no such table.
    "CVekTaskResult_IndexTable": (CVekTable, [POINTER(CVekTaskResult), c_uint]),
    "CVekTaskResult_TableCount": (c_uint, [POINTER(CVekTaskResult)]),
    # The cvre_... value of a reason text, compared as a whole. cvre_Other for null and for unknown texts.
    "CVekApi_ReasonOf": (c_int, [c_char_p]),
    # Returns a new client, owned by the caller. The table is copied; a null table has null entries only. `user`
    # is passed to the callbacks and otherwise not used.
    "CVekClient_Create": (CVekClient, [POINTER(CVekClientCallbacks), c_void_p]),
    # Calls OnVekClientDestroyEvent, closes the session and frees the client. The handle becomes null before that
    # callback. Waits for a callback running on another thread; a waiting thread keeps answering messages sent to
    # its windows. No callback follows, unless the call was made inside one. Must not overlap with any other
    # function on that client.
    "CVekClient_Delete": (None, [POINTER(CVekClient)]),
    # The client's cvcs_... state.
    "CVekClient_State": (c_int, [POINTER(CVekClient)]),
    # True at cvcs_Connected, cvcs_ApReady and cvcs_SgnError.
    "CVekClient_IsSessionConnected": (c_bool, [POINTER(CVekClient)]),
    # Closes any earlier session and opens a new one. Returns true if the attempt was started; its outcome
    # arrives as callbacks. An invalid setting calls OnVekConnectEvent in state cvcs_LinkError before the
    # function returns. Returns false and does nothing if a text other than the password is null; a null password
    # is empty.
    #
    # `setting` is "HOST:PORT" for TCP, or ":KIND:PARAMETERS" (docs/settings.md). `apVersion` is four numbers,
    # such as "1.2.3.4". `id1` and `id2` are joined by "/" into the user identity. Identity and password are
    # limited to 255 bytes each. Must not overlap with _Connect, _Disconnect or _Delete of the same client on
    # another thread.
    "CVekClient_Connect": (c_bool, [POINTER(CVekClient), c_char_p, c_char_p, c_char_p, c_char_p, c_char_p, c_char_p]),
    # Closes the session and calls OnVekConnectEvent with "Disconnect()" in state cvcs_Disconnected. No callback
    # of that session follows.
    "CVekClient_Disconnect": (None, [POINTER(CVekClient)]),
    # The result that ended the last sign-on; empty before the first one.
    #
    # For a client on a message loop: inside its callbacks, the result that was current at that event, valid
    # until the callback returns; outside, the latest result, valid until this function or CVekClient_ServerName
    # is next called for that client outside its callbacks. For other clients: valid as long as the client lives,
    # but the next sign-on replaces its content, so read it inside callbacks or while no sign-on can be in
    # progress.
    "CVekClient_SgnResult": (CVekTaskResult, [POINTER(CVekClient)]),
    # Name and version of the server, such as "GW.2.0.1.15"; "" while not connected, null for a null handle.
    # Called inside a callback, the text is valid until the callback returns; otherwise the rules of
    # CVekClient_SgnResult apply.
    "CVekClient_ServerName": (c_char_p, [POINTER(CVekClient)]),
    # Asks the server to change a password; the answer arrives as OnVekChgPassResultEvent. Returns false if not
    # connected, if the link refused the request, if the texts exceed 4091 bytes together (the event then says
    # so), or if `user` is null. Null passwords are empty. Each text is limited to 255 bytes.
    "CVekClient_ChgPass": (c_bool, [POINTER(CVekClient), c_char_p, c_char_p, c_char_p]),
    # Scrambles a complete packet of `length` bytes in place, from the fourth byte on, if the session uses
    # scrambling.
    "CVekClient_EncPacket": (None, [POINTER(CVekClient), POINTER(c_char), c_int]),
    # Sends a complete packet of `length` bytes, header included. Returns true if the link accepted it. The
    # buffer is scrambled in place.
    "CVekClient_SendPk": (c_bool, [POINTER(CVekClient), POINTER(c_char), c_int]),
    # Sends a request. The buffer starts with five bytes reserved for the library, followed by the text; `length`
    # counts both and is at least 6. The buffer is modified. Returns true if the link accepted the whole request,
    # false if nothing was sent. A query (code 128) also returns false when the query rate given at sign-on is
    # used up; the buffer is then unmodified and may be sent again later.
    "CVekClient_SendVekRequest": (c_bool, [POINTER(CVekClient), c_int, POINTER(c_char), c_uint]),
    # Sends a query (cvmc_TaskResult) and reports how long to wait: 0 if sent; a positive number of milliseconds
    # until the query rate allows it (buffer unmodified); -1 if it was not sent and waiting will not help.
    "CVekClient_SendVekQueryRequest": (c_int, [POINTER(CVekClient), POINTER(c_char), c_uint]),
    # Returns a new gate, owned by the caller. Until configured, it is open. The table is copied; a null table
    # has a null entry.
    "CVekFlowCtrl_Create": (CVekFlowCtrl, [POINTER(CVekFlowCtrlCallbacks), c_void_p]),
    # As CVekFlowCtrl_Create, with the callback on the calling thread, when that thread runs its message loop
    # (see "Message loop" below), and without locks held. The callback may do anything, including connecting,
    # disconnecting and deleting clients and deleting the gate. Null handle if the thread cannot have a window or
    # there is no memory.
    #
    # Several openings before the callback runs count as one. Another thread may have used the free slot by then:
    # a callback that finds the gate closed (CVekFlowCtrl_CheckFlowCtrl) calls CVekFlowCtrl_StartCheckTimer
    # again.
    "CVekFlowCtrl_Create_OnMessageLoop": (CVekFlowCtrl, [POINTER(CVekFlowCtrlCallbacks), c_void_p]),
    # Deletes the gate. Waits for a callback running on another thread; none follows. No other thread may use the
    # gate any more or hold its lock.
    "CVekFlowCtrl_Delete": (None, [POINTER(CVekFlowCtrl)]),
    # True if a rate is set.
    "CVekFlowCtrl_IsFlowCfg": (c_bool, [POINTER(CVekFlowCtrl)]),
    # Removes the rate and forgets past requests. A waiting gate calls OnVekFlowCtrlFree soon.
    "CVekFlowCtrl_Clear": (None, [POINTER(CVekFlowCtrl)]),
    # Sets the rate: `count` requests within any `ms` milliseconds. Forgets past requests. If either value is
    # below 1, same as CVekFlowCtrl_Clear. Call it again when a new session is ready: requests sent over an ended
    # link are never acknowledged and would keep their slots.
    "CVekFlowCtrl_SetFlowCtrl": (None, [POINTER(CVekFlowCtrl), c_int, c_int]),
    # Records that `n` requests were acknowledged. May call OnVekFlowCtrlFree.
    "CVekFlowCtrl_SetAckTime": (None, [POINTER(CVekFlowCtrl), c_uint]),
    # Asks to send one request now. 0: allowed, and counted as sent (also for a null handle). Positive: not now;
    # ask again after that many milliseconds. Negative: not before an acknowledgement arrives.
    "CVekFlowCtrl_CheckFlowCtrl": (c_int, [POINTER(CVekFlowCtrl)]),
    # Sleeps for `ms` milliseconds on the calling thread; for 1 ms if `ms` is above 0x7FFFFFFF, as a negative
    # result of CVekFlowCtrl_CheckFlowCtrl is.
    "CVekFlowCtrl_Sleep": (None, [c_uint]),
    # Calls OnVekFlowCtrlFree when a request may be sent: immediately or later. Does nothing if no rate is set.
    "CVekFlowCtrl_StartCheckTimer": (None, [POINTER(CVekFlowCtrl)]),
    # Locks and unlocks the gate's user lock. It is recursive: unlock as often as locked. While holding it, a
    # thread must not connect, disconnect or delete a client.
    "CVekFlowCtrl_Lock": (None, [POINTER(CVekFlowCtrl)]),
    # Locks and unlocks the gate's user lock. It is recursive: unlock as often as locked. While holding it, a
    # thread must not connect, disconnect or delete a client.
    "CVekFlowCtrl_Unlock": (None, [POINTER(CVekFlowCtrl)]),
    # Returns a new sender, owned by the caller. It may outlive the client; all requests are then refused. Until
    # a rate is set, requests are sent immediately.
    "CVekFlowCtrlSender_Create": (CVekFlowCtrlSender, [POINTER(CVekClient)]),
    # As CVekFlowCtrlSender_Create, with a callback on the calling thread when that thread runs its message loop.
    # Held requests are sent when the rate allows, whether or not the thread runs its loop. Null handle if the
    # thread cannot have a window or there is no memory.
    "CVekFlowCtrlSender_Create_OnMessageLoop": (CVekFlowCtrlSender, [POINTER(CVekClient), POINTER(CVekFlowCtrlSenderCallbacks), c_void_p]),
    # Drops the held requests without sending them; otherwise as CVekFlowCtrl_Delete.
    "CVekFlowCtrlSender_Delete": (None, [POINTER(CVekFlowCtrlSender)]),
    # As CVekFlowCtrl_SetFlowCtrl.
    "CVekFlowCtrlSender_SetFlowCtrl": (None, [POINTER(CVekFlowCtrlSender), c_int, c_int]),
    # 1 if a rate is set, else 0. An int, unlike CVekFlowCtrl_IsFlowCfg.
    "CVekFlowCtrlSender_IsFlowCfg": (c_int, [POINTER(CVekFlowCtrlSender)]),
    # Number of held requests.
    "CVekFlowCtrlSender_PendingCount": (c_uint, [POINTER(CVekFlowCtrlSender)]),
    # Sends the held requests that the rate allows now; the rest follow by timer.
    "CVekFlowCtrlSender_CheckPending": (None, [POINTER(CVekFlowCtrlSender)]),
    # Drops the held requests and returns their number. They were not sent and will not be.
    "CVekFlowCtrlSender_DropPending": (c_uint, [POINTER(CVekFlowCtrlSender)]),
    # Removes the oldest held request without sending it: copies its text into `buffer`, which has space for
    # `size` bytes, without a terminating NUL. Returns the text's length, or 0 if nothing is held. A text longer
    # than `size` stays held; its length is returned and nothing is copied.
    "CVekFlowCtrlSender_TakePending": (c_uint, [POINTER(CVekFlowCtrlSender), POINTER(c_char), c_uint]),
    # Number of requests that the link refused since the sender was created: not sent and not held. Causes: no
    # session, a full send queue, no memory.
    "CVekFlowCtrlSender_RefusedCount": (c_uint, [POINTER(CVekFlowCtrlSender)]),
    # Call it with the arguments of OnVekRequestAckEvent. Counts the acknowledged requests of code 129; may send
    # held ones. Other codes and a null text are ignored.
    "CVekFlowCtrlSender_AckParser": (None, [POINTER(CVekFlowCtrlSender), c_int, c_char_p]),
    # Records that `n` requests were acknowledged; may send held ones. The second argument is ignored.
    "CVekFlowCtrlSender_SetAckTime": (None, [POINTER(CVekFlowCtrlSender), c_int, c_uint]),
    # Sends or holds one request: five bytes reserved for the library, then the text; `length` counts both. The
    # buffer is modified. Returns true if nothing is held after the call; false if a request is held, or if
    # `length` is below 6 (the request is dropped).
    "CVekFlowCtrlSender_SendVekRequest": (c_bool, [POINTER(CVekFlowCtrlSender), POINTER(c_char), c_uint]),
    # Sends or holds several requests: five bytes reserved for the library, then pairs of lines separated by line
    # feeds. A last line without a partner is dropped. Returns how many were sent now; the others are held. The
    # buffer is modified.
    "CVekFlowCtrlSender_SendVekRequests": (c_uint, [POINTER(CVekFlowCtrlSender), POINTER(c_char), c_uint]),
    # As CVekClient_Create, with all callbacks on the calling thread, when that thread runs its message loop.
    # Null handle if the thread cannot have a window or there is no memory.
    #
    # The loop. On Windows any loop of GetMessage and DispatchMessage, including modal ones (message box, menu,
    # dragging). On both systems CVekMessageLoop_Dispatch may be used instead.
    #
    # Order. Callbacks run one at a time in wire order, later than the event. Events from before a
    # CVekClient_Connect or CVekClient_Disconnect, and the events of these calls themselves, are delivered after
    # the call has returned. Inside a callback, on its thread, CVekClient_State, _IsSessionConnected, _SgnResult
    # and _ServerName return the values at the time of the event; outside callbacks and on other threads, the
    # current values.
    #
    # Batches. One message delivers at most 10 ms' worth of events or a thousand of them. The rest follows after
    # the thread's other work: other clients, input, painting, timers.
    #
    # Waiting. Task results and password results are borrowed, so the session waits until their callback has
    # returned; meanwhile nothing else of that session arrives. The thread delivers these two events, and those
    # queued before them, also while it waits inside a function of this library. Callbacks may therefore run
    # inside any call that connects, disconnects or deletes. The thread must not wait for the session in any
    # other way.
    #
    # Inside a callback the thread may do anything: connect, disconnect, delete, run a nested loop (a message
    # box). Other callbacks may or may not run inside that nested loop, so it must not wait for them. After
    # deletion only OnVekClientDestroyEvent is called, by CVekClient_Delete itself on its own thread before it
    # returns; queued events are dropped.
    #
    # CVekClient_Delete should be called on the creating thread. Another thread may call it outside callbacks; it
    # then waits for the creating thread to run its loop or to end. A client whose thread has ended gets no
    # callbacks except the last, and queues nothing; it must still be deleted.
    "CVekClient_Create_OnMessageLoop": (CVekClient, [POINTER(CVekClientCallbacks), c_void_p]),
    # Delivers the messages waiting for the calling thread, at most a thousand and none that arrive meanwhile,
    # and returns their number. If there are none, waits up to `timeoutMs` milliseconds (0: does not wait;
    # negative: no limit) and returns 0 on timeout. Returns a negative value on error, and on Windows also if
    # WM_QUIT is queued (it stays in the queue). On Windows it serves all windows of the thread. May be called
    # inside a callback.
    "CVekMessageLoop_Dispatch": (c_int, [c_int]),
    # For event loops that watch descriptors (poll, epoll, GLib, Qt, asyncio): a descriptor that is readable
    # while messages wait for the calling thread; then call CVekMessageLoop_Dispatch(0). Owned by the library and
    # valid for the thread's lifetime; do not read or close it. -1 on error, and on Windows, where the thread's
    # message loop serves everything.
    "CVekMessageLoop_Fd": (c_int, []),
}
