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

# Account market of a table (CVekTable_MktFlag). The server may use other numbers.
cvam_None = 0  # the table says nothing about it
cvam_Stock = 1  # domestic securities
cvam_Futures = 2  # domestic futures and options
cvam_ForeignFutures = 3  # foreign futures and options
cvam_ForeignStock = 4  # foreign securities

# CVekClient_State
cvcs_HeartbeatTimeout = -7  # nothing came from the server for a heartbeat period; the link is not closed
cvcs_ConnectError = -6  # the server refused the connect request
cvcs_SgnError = -5  # the server refused the sign-on; the link stays up for a password change
cvcs_UnknownServer = -4  # the server never answered the connect request
cvcs_LinkBroken = -3
cvcs_LinkError = -2  # the link could not be opened
cvcs_Disconnected = -1  # after CVekClient_Disconnect
cvcs_None = 0  # new client
cvcs_Connecting = 1  # the link is being opened
cvcs_Connected = 2  # connect request accepted, sign-on sent
cvcs_ApReady = 3  # signed on; requests may be sent

# Codes of messages. Requests are sent with the first two; the others come, as OnVekRequestAckEvent and
# OnVekReportEvent.
cvmc_TaskResult = 128  # a query, and its answer; paced by the rate that the server gave at sign-on
cvmc_RequestAck = 129  # a request, and its acknowledgement
cvmc_Report = 130
cvmc_RequestAck2 = 131  # another acknowledgement

# The reasons that the library itself gives in OnVekConnectEvent and OnVekChgPassResultEvent
# (CVekApi_ReasonOf).
cvre_Other = 0  # the words of the server or of the system, or none
cvre_Disconnect = 1  # CVekClient_Disconnect was called
cvre_HeartbeatTimeout = 2  # with cvcs_HeartbeatTimeout
cvre_UnknownServer = 3  # with cvcs_UnknownServer
cvre_BadPacketLength = 4  # with cvcs_LinkBroken: what came was no stream of packets
cvre_LongMessage = 5  # with cvcs_LinkBroken: a message had more pieces than any may have
cvre_BadSetting = 6  # with cvcs_LinkError: nothing can be made of the setting
cvre_BadApName = 7  # with cvcs_LinkError: the application name is too long
cvre_SignOnTooLong = 8  # with cvcs_SgnError: identity and password are too long together
cvre_ChgPassTooLong = 9  # of CVekClient_ChgPass: its texts are too long together
cvre_ConnectTimeout = 10  # with cvcs_LinkError: the link did not open in time
cvre_SignOnTimeout = 11  # with cvcs_LinkBroken: no answer to the sign-on came in time
cvre_NoMemory = 12  # with cvcs_LinkError or cvcs_LinkBroken

# A message of a code that the library does not know: the whole message, header included, of `length` bytes.
CVekOnUnknownMsgCode = CFUNCTYPE(None, POINTER(CVekClient), c_void_p, c_int, c_void_p, c_int)
# The state changed: read it with CVekClient_State. `reason` is empty when the server accepted the connect
# request, else says why.
CVekOnConnect = CFUNCTYPE(None, POINTER(CVekClient), c_void_p, c_char_p)
# Signed on: CVekClient_SgnResult holds the accounts, requests may be sent.
CVekOnApReady = CFUNCTYPE(None, POINTER(CVekClient), c_void_p)
# The answer to a request of code 128.
CVekOnTaskResult = CFUNCTYPE(None, POINTER(CVekClient), c_void_p, POINTER(CVekTaskResult))
# The answer to CVekClient_ChgPass: `resultText` is for people.
CVekOnChgPassResult = CFUNCTYPE(None, POINTER(CVekClient), c_void_p, c_char_p, c_char_p)
# An acknowledgement of code 129 or 131; with 129 a line for each acknowledged request, to be handed to
# CVekFlowCtrlSender_AckParser.
CVekOnRequestAck = CFUNCTYPE(None, POINTER(CVekClient), c_void_p, c_int, c_char_p)
CVekOnReport = CFUNCTYPE(None, POINTER(CVekClient), c_void_p, c_char_p)
# The client is being deleted; its last callback, on the thread that deletes it. The handle that was given to
# CVekClient_Delete is null by now and not touched any more: what holds it may be freed here. Through
# `client` the state may be asked for; deleting it again does nothing.
CVekOnClientDestroy = CFUNCTYPE(None, POINTER(CVekClient), c_void_p)
# The gate is open again. Runs inside CVekFlowCtrl_SetAckTime and CVekFlowCtrl_StartCheckTimer on the
# caller's thread, or on the timer's, with the gate's locks held. It may call everything of this gate and
# send with any client; it must not connect, disconnect or delete a client, or wait for another thread that
# uses the gate or is inside a client's callback. It may delete the gate when nobody else uses it and it was
# not locked with CVekFlowCtrl_Lock. `gate` is the address of a temporary handle, valid until the callback
# returns.
CVekOnFlowCtrlFree = CFUNCTYPE(None, POINTER(CVekFlowCtrl), c_void_p)
# What a sender tells the thread that created it: how many of the requests that were held the link has taken,
# and how many of all it has refused, since it told the last time. `sender` is the address of a temporary
# handle, valid until the callback returns, which may do everything.
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
    # Its version, such as "0.1.0". The text is there as long as the library.
    "CVekApi_Version": (c_char_p, []),
    # A new automation string with the bytes of `text` up to its NUL, unchanged; it belongs to the caller. Null
    # for null.
    "CstrToBSTR": (c_void_p, [c_char_p]),
    # Frees what CstrToBSTR or a function ending in _B returned; nothing for null.
    "CVekApi_FreeBSTR": (None, [c_void_p]),
    # The value of a key; null when there is none.
    "CVekProperties_Get": (c_char_p, [POINTER(CVekProperties), c_char_p]),
    # The value of a key; null when there is none.
    "CVekProperties_Get_B": (c_void_p, [POINTER(CVekProperties), c_char_p]),
    "CVekProperties_Name": (c_char_p, [POINTER(CVekProperties)]),
    "CVekProperties_Name_B": (c_void_p, [POINTER(CVekProperties)]),
    # What to show to users: the value of "DisplayText", else the name.
    "CVekProperties_DisplayText": (c_char_p, [POINTER(CVekProperties)]),
    # What to show to users: the value of "DisplayText", else the name.
    "CVekProperties_DisplayText_B": (c_void_p, [POINTER(CVekProperties)]),
    # The value of "Description", else the display text.
    "CVekProperties_Description": (c_char_p, [POINTER(CVekProperties)]),
    # The value of "Description", else the display text.
    "CVekProperties_Description_B": (c_void_p, [POINTER(CVekProperties)]),
    # The pairs, without the name: for each, in the order of their coming, 0x01 KEY "=" VALUE.
    "CVekProperties_ToString": (c_char_p, [POINTER(CVekProperties)]),
    # The pairs, without the name: for each, in the order of their coming, 0x01 KEY "=" VALUE.
    "CVekProperties_ToString_B": (c_void_p, [POINTER(CVekProperties)]),
    # The column's name and attributes.
    "CVekField_Properties": (CVekProperties, [POINTER(CVekField)]),
    # Position in the table, from 0; -1 for a null handle.
    "CVekField_Index": (c_int, [POINTER(CVekField)]),
    # Null handles when there is no such column.
    "CVekFields_NameField": (CVekField, [POINTER(CVekFields), c_char_p]),
    # Null handles when there is no such column.
    "CVekFields_IndexField": (CVekField, [POINTER(CVekFields), c_int]),
    "CVekFields_Count": (c_int, [POINTER(CVekFields)]),
    # The table's name and attributes.
    "CVekTable_Properties": (CVekProperties, [POINTER(CVekTable)]),
    "CVekTable_Fields": (CVekFields, [POINTER(CVekTable)]),
    "CVekTable_RecordsCount": (c_int, [POINTER(CVekTable)]),
    # The value of a column of a record, "" when the record has none. Rows and columns count from 0; null when
    # there is no such record or column.
    "CVekTable_RecordIndexField": (c_char_p, [POINTER(CVekTable), c_int, c_int]),
    # The value of a column of a record, "" when the record has none. Rows and columns count from 0; null when
    # there is no such record or column.
    "CVekTable_RecordIndexField_B": (c_void_p, [POINTER(CVekTable), c_int, c_int]),
    # The same by a column's handle; null for a null one.
    "CVekTable_RecordField": (c_char_p, [POINTER(CVekTable), c_int, POINTER(CVekField)]),
    # The same by a column's handle; null for a null one.
    "CVekTable_RecordField_B": (c_void_p, [POINTER(CVekTable), c_int, POINTER(CVekField)]),
    # The number in the table's attribute "mkt": cvam_...
    "CVekTable_MktFlag": (c_int, [POINTER(CVekTable)]),
    # Ties the answer to the request.
    "CVekTaskResult_WorkID": (c_char_p, [POINTER(CVekTaskResult)]),
    # Ties the answer to the request.
    "CVekTaskResult_WorkID_B": (c_void_p, [POINTER(CVekTaskResult)]),
    # The text that the tables were read from. Ends for the caller at its first NUL.
    "CVekTaskResult_OrigResult": (c_char_p, [POINTER(CVekTaskResult)]),
    # The text that the tables were read from. Ends for the caller at its first NUL.
    "CVekTaskResult_OrigResult_B": (c_void_p, [POINTER(CVekTaskResult)]),
    # Null handles when there is no such table. Indexes count from 0.
    "CVekTaskResult_NameTable": (CVekTable, [POINTER(CVekTaskResult), c_char_p]),
    # Null handles when there is no such table. Indexes count from 0.
    "CVekTaskResult_IndexTable": (CVekTable, [POINTER(CVekTaskResult), c_uint]),
    "CVekTaskResult_TableCount": (c_uint, [POINTER(CVekTaskResult)]),
    # cvre_..., by the whole text; cvre_Other for null.
    "CVekApi_ReasonOf": (c_int, [c_char_p]),
    # A new client, which belongs to the caller. The table is copied; null counts as a table of nulls. `user` is
    # handed to the callbacks and not looked into.
    "CVekClient_Create": (CVekClient, [POINTER(CVekClientCallbacks), c_void_p]),
    # Calls OnVekClientDestroyEvent, closes the session and frees the client; the handle becomes null before that
    # callback. Waits for a callback that is running on another thread (a thread answers what is sent to its
    # windows meanwhile). No callback comes afterwards, unless the call was made inside one. Not on two threads
    # at once, nor together with another function on that client.
    "CVekClient_Delete": (None, [POINTER(CVekClient)]),
    # cvcs_...
    "CVekClient_State": (c_int, [POINTER(CVekClient)]),
    # True at cvcs_Connected, cvcs_ApReady and cvcs_SgnError.
    "CVekClient_IsSessionConnected": (c_bool, [POINTER(CVekClient)]),
    # Closes an earlier session and opens a new one; true when it was begun. The outcome comes as callbacks: a
    # setting of which nothing can be made calls OnVekConnectEvent in state cvcs_LinkError before the function
    # returns. False, with nothing done, when a text but the password is null; a null password is an empty one.
    #
    # `setting` is "HOST:PORT" for TCP, or ":KIND:PARAMETERS". `apVersion` is four numbers, such as "1.2.3.4".
    # `id1` and `id2` are joined by "/" into the user identity; it and the password may have up to 255 bytes.
    # Not on two threads at once for one client, nor together with _Disconnect or _Delete.
    "CVekClient_Connect": (c_bool, [POINTER(CVekClient), c_char_p, c_char_p, c_char_p, c_char_p, c_char_p, c_char_p]),
    # Closes the session and calls OnVekConnectEvent with "Disconnect()" in state cvcs_Disconnected. No callback
    # of that session comes afterwards.
    "CVekClient_Disconnect": (None, [POINTER(CVekClient)]),
    # The result that ended the last sign-on; an empty one before that.
    #
    # Of a client on a message loop: inside its callbacks the one that was the last at that event, lent until the
    # callback returns; outside, the last of all, lent until this function or CVekClient_ServerName is called
    # again for that client outside its callbacks. Of another client: lent as long as the client lives; the next
    # sign-on replaces what is in it, so that it is to be read in callbacks, or while no sign-on can be under
    # way.
    "CVekClient_SgnResult": (CVekTaskResult, [POINTER(CVekClient)]),
    # Name and version of the server, such as "GW.2.0.1.15"; "" while not connected, null for a null handle. The
    # text lives until the callback returns inside which it was asked for; else to be read, and lent, as
    # CVekClient_SgnResult says.
    "CVekClient_ServerName": (c_char_p, [POINTER(CVekClient)]),
    # Asks the server to change a password; the answer comes as OnVekChgPassResultEvent. False when not
    # connected, when the link took nothing, or when the texts have more than 4091 bytes together. A null `user`
    # gives false; null passwords are empty ones. Each text may have up to 255 bytes.
    "CVekClient_ChgPass": (c_bool, [POINTER(CVekClient), c_char_p, c_char_p, c_char_p]),
    # Scrambles a finished packet of `length` bytes in place, behind its three header bytes, when the session
    # asks for it.
    "CVekClient_EncPacket": (None, [POINTER(CVekClient), POINTER(c_char), c_int]),
    # Sends a finished packet of `length` bytes, header included; true when the link took it. The buffer is
    # scrambled in place.
    "CVekClient_SendPk": (c_bool, [POINTER(CVekClient), POINTER(c_char), c_int]),
    # Sends a request. The buffer starts with five free bytes, which the library fills; the text follows.
    # `length` counts both, 6 or more. The buffer is consumed. True when the link took all of it, false when none
    # of it went. Code 128 is a query, and false too when the rate that the server gave at sign-on is used up:
    # nothing was touched then, and the same buffer may be tried again a little later.
    "CVekClient_SendVekRequest": (c_bool, [POINTER(CVekClient), c_int, POINTER(c_char), c_uint]),
    # The same with cvmc_TaskResult, telling how long to wait: 0 when it was sent, the milliseconds until the
    # rate allows it (nothing was touched), or -1 when it was not sent, and waiting will not help.
    "CVekClient_SendVekQueryRequest": (c_int, [POINTER(CVekClient), POINTER(c_char), c_uint]),
    # A new gate, which belongs to the caller; everything may go until it is configured. The table is copied;
    # null counts as one with a null entry.
    "CVekFlowCtrl_Create": (CVekFlowCtrl, [POINTER(CVekFlowCtrlCallbacks), c_void_p]),
    # As CVekFlowCtrl_Create, for a gate whose callback runs on the calling thread, when that runs its message
    # loop (see there), without any lock held. It may do everything: connect, disconnect and delete clients, and
    # delete the gate. A null handle when the thread can have no window (or there is no memory).
    #
    # Openings that come before the callback has run are one. By then another thread may have taken the place: a
    # callback that finds the gate closed (CVekFlowCtrl_CheckFlowCtrl) calls CVekFlowCtrl_StartCheckTimer again.
    "CVekFlowCtrl_Create_OnMessageLoop": (CVekFlowCtrl, [POINTER(CVekFlowCtrlCallbacks), c_void_p]),
    # Waits for a callback that is running on another thread; none comes afterwards. Nobody else may use the gate
    # any more, or hold its lock.
    "CVekFlowCtrl_Delete": (None, [POINTER(CVekFlowCtrl)]),
    "CVekFlowCtrl_IsFlowCfg": (c_bool, [POINTER(CVekFlowCtrl)]),
    # Switches pacing off and forgets what was sent. A gate that waits calls OnVekFlowCtrlFree soon.
    "CVekFlowCtrl_Clear": (None, [POINTER(CVekFlowCtrl)]),
    # Forgets what was sent and allows `count` requests within any `ms` milliseconds; with either below 1 the
    # same as CVekFlowCtrl_Clear. To be called again when a new session is ready: what was sent over a link that
    # has ended is never acknowledged and would keep its places.
    "CVekFlowCtrl_SetFlowCtrl": (None, [POINTER(CVekFlowCtrl), c_int, c_int]),
    # `n` requests were acknowledged. May call OnVekFlowCtrlFree.
    "CVekFlowCtrl_SetAckTime": (None, [POINTER(CVekFlowCtrl), c_uint]),
    # 0: one request may go now, and is counted as sent (a null handle answers 0, too). Positive: not now; it may
    # be asked again after so many milliseconds. Negative: not before an acknowledgement.
    "CVekFlowCtrl_CheckFlowCtrl": (c_int, [POINTER(CVekFlowCtrl)]),
    # Lets the calling thread sleep for so many milliseconds; for one when `ms` is above 0x7FFFFFFF, as a
    # negative answer of CVekFlowCtrl_CheckFlowCtrl is.
    "CVekFlowCtrl_Sleep": (None, [c_uint]),
    # Calls OnVekFlowCtrlFree when a request may go: at once, or later. Nothing when not configured.
    "CVekFlowCtrl_StartCheckTimer": (None, [POINTER(CVekFlowCtrl)]),
    # The gate's user lock. The thread that holds it may take it again, and gives it back as often. It must not
    # connect, disconnect or delete a client meanwhile.
    "CVekFlowCtrl_Lock": (None, [POINTER(CVekFlowCtrl)]),
    # The gate's user lock. The thread that holds it may take it again, and gives it back as often. It must not
    # connect, disconnect or delete a client meanwhile.
    "CVekFlowCtrl_Unlock": (None, [POINTER(CVekFlowCtrl)]),
    # A new sender, which belongs to the caller. It may outlive the client: everything is refused then. Not
    # configured: everything goes at once.
    "CVekFlowCtrlSender_Create": (CVekFlowCtrlSender, [POINTER(CVekClient)]),
    # As CVekFlowCtrlSender_Create, with a callback on the calling thread, when that runs its message loop. What
    # the sender holds goes when the rate allows it, as with every sender, whether the thread runs its loop or
    # not. A null handle when the thread can have no window (or there is no memory).
    "CVekFlowCtrlSender_Create_OnMessageLoop": (CVekFlowCtrlSender, [POINTER(CVekClient), POINTER(CVekFlowCtrlSenderCallbacks), c_void_p]),
    # Drops what is held without sending it; otherwise as CVekFlowCtrl_Delete.
    "CVekFlowCtrlSender_Delete": (None, [POINTER(CVekFlowCtrlSender)]),
    # As CVekFlowCtrl_SetFlowCtrl.
    "CVekFlowCtrlSender_SetFlowCtrl": (None, [POINTER(CVekFlowCtrlSender), c_int, c_int]),
    # 1 when configured, else 0. An int, unlike CVekFlowCtrl_IsFlowCfg.
    "CVekFlowCtrlSender_IsFlowCfg": (c_int, [POINTER(CVekFlowCtrlSender)]),
    # Requests held.
    "CVekFlowCtrlSender_PendingCount": (c_uint, [POINTER(CVekFlowCtrlSender)]),
    # Sends what is held and may go now, and sees to the rest later.
    "CVekFlowCtrlSender_CheckPending": (None, [POINTER(CVekFlowCtrlSender)]),
    # Drops what is held; returns how many requests that were. None of them has been sent, or will be.
    "CVekFlowCtrlSender_DropPending": (c_uint, [POINTER(CVekFlowCtrlSender)]),
    # Takes the oldest request that is held out of the sender, unsent: copies its text into `buffer`, which has
    # room for `size` bytes, without a NUL behind it. Returns the length of the text, 0 when nothing is held. A
    # text that is longer than `size` stays where it is, and nothing is copied.
    "CVekFlowCtrlSender_TakePending": (c_uint, [POINTER(CVekFlowCtrlSender), POINTER(c_char), c_uint]),
    # Requests that the link refused, since the sender was created: they were not sent, and are not held. There
    # was no session, its send queue was full, or there was no memory.
    "CVekFlowCtrlSender_RefusedCount": (c_uint, [POINTER(CVekFlowCtrlSender)]),
    # To be called with what OnVekRequestAckEvent brought: counts the acknowledged requests of code 129, may send
    # held ones. Other codes and a null text are ignored.
    "CVekFlowCtrlSender_AckParser": (None, [POINTER(CVekFlowCtrlSender), c_int, c_char_p]),
    # `n` requests were acknowledged; may send held ones. The second argument is not used.
    "CVekFlowCtrlSender_SetAckTime": (None, [POINTER(CVekFlowCtrlSender), c_int, c_uint]),
    # One request: the buffer starts with five free bytes, its text follows, `length` counts both. The buffer is
    # consumed. True when it was sent, or nothing is held after the call; false when it is held, or `length` is
    # below 6 (it is dropped then).
    "CVekFlowCtrlSender_SendVekRequest": (c_bool, [POINTER(CVekFlowCtrlSender), POINTER(c_char), c_uint]),
    # Several requests, pairs of lines with line feeds between them, behind five free bytes; a last line without
    # its partner is dropped. Returns how many were sent now; the others are held. The buffer is consumed.
    "CVekFlowCtrlSender_SendVekRequests": (c_uint, [POINTER(CVekFlowCtrlSender), POINTER(c_char), c_uint]),
    # As CVekClient_Create, for a client whose callbacks run on the calling thread, when that thread runs its
    # message loop. A null handle when the thread can have no window (or there is no memory).
    #
    # The loop. On Windows it is any loop of GetMessage and DispatchMessage, also a modal one (message box, menu,
    # dragging). On every system CVekMessageLoop_Dispatch may take its place.
    #
    # Order. Callbacks come one after the other in the order of the wire. They come later than the event, and
    # events from before a CVekClient_Connect or CVekClient_Disconnect, and those of these calls themselves, are
    # still called when the call has returned. But inside a callback, on its thread, CVekClient_State,
    # _IsSessionConnected, _SgnResult and _ServerName answer what was true at its event, whatever has happened
    # since; outside callbacks, and on other threads, what is true now.
    #
    # Turns. One message brings a part of what waits, 10 ms' worth or a thousand events; the rest comes when
    # everything else of the thread has had its turn: other clients, input, painting, timers.
    #
    # Waiting. A task result or password result is lent, so the session waits until its callback has returned:
    # nothing else of that session arrives meanwhile. The thread answers these two, and with them what was queued
    # before them, also while it waits inside a function of this library; so callbacks may come inside any call
    # that connects, disconnects or deletes. The thread must not wait for the session by other means.
    #
    # Inside a callback the thread may do everything: connect, disconnect, delete, run a loop of its own (a
    # message box). Other callbacks may or may not come inside that loop, which must not wait for them. After a
    # deletion nothing is called any more but OnVekClientDestroyEvent, which CVekClient_Delete calls itself,
    # before it returns, on its own thread; what was queued is dropped.
    #
    # CVekClient_Delete belongs on the creating thread. Another thread may call it outside callbacks; it then
    # waits for the creating one to run its loop, or to end. A client whose thread has ended gets no callbacks
    # but the last, and nothing is kept for it; it must still be deleted.
    "CVekClient_Create_OnMessageLoop": (CVekClient, [POINTER(CVekClientCallbacks), c_void_p]),
    # Runs what waits for the calling thread, a thousand messages at most and not what comes meanwhile, and
    # returns how many it ran. Waits up to `timeoutMs` milliseconds when there is nothing (0: does not wait;
    # negative: waits for ever), and answers 0 when nothing came. Negative on error; on Windows also when the
    # thread has been told to quit (WM_QUIT, which stays in the queue). On Windows it serves all the thread's
    # windows. Inside a callback, too.
    "CVekMessageLoop_Dispatch": (c_int, [c_int]),
    # For event loops that watch descriptors (poll, epoll, GLib, Qt, asyncio): one that polls readable while
    # something waits for the calling thread; call CVekMessageLoop_Dispatch(0) then. It belongs to the library
    # and lives as long as the thread: not to be read or closed. -1 on Windows, where the thread's message loop
    # serves everything, and on error.
    "CVekMessageLoop_Fd": (c_int, []),
}
