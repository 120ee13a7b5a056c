Attribute VB_Name = "VekApi"
Option Explicit

' Made by tools/gen_bindings/make_bindings.py from include/vekapi/VekApiC.h. Not to be edited.
' The types, constants and functions of VekApiC.h, for 64-bit VBA 7. How to use them is told in docs/vba.md.
'
' Functions that take texts are there twice: as they are called, for texts in ASCII, and ending in _P, with the addresses
' of texts in code page 950 (VekPut in VekText.bas makes such texts).
'
' A function that returns a handle returns its pointer: client.Object = CVekClient_Create(callbacks, 0).

' Account market of a table, as CVekTable_MktFlag returns it. The server may send other values.
Public Const cvam_None As Long = 0  ' the table does not say
Public Const cvam_Stock As Long = 1  ' domestic securities
Public Const cvam_Futures As Long = 2  ' domestic futures and options
Public Const cvam_ForeignFutures As Long = 3  ' foreign futures and options
Public Const cvam_ForeignStock As Long = 4  ' foreign securities

' States of a client (CVekClient_State). docs/events.md lists the transitions.
Public Const cvcs_HeartbeatTimeout As Long = -7  ' no data from the server for a heartbeat period; the link stays open
Public Const cvcs_ConnectError As Long = -6  ' the server refused the connect request
Public Const cvcs_SgnError As Long = -5  ' the server refused the sign-on; the link stays open for a password change
Public Const cvcs_UnknownServer As Long = -4  ' the server did not answer the connect request
Public Const cvcs_LinkBroken As Long = -3  ' the link broke, or received bytes were not valid packets
Public Const cvcs_LinkError As Long = -2  ' the link could not be opened
Public Const cvcs_Disconnected As Long = -1  ' after CVekClient_Disconnect
Public Const cvcs_None As Long = 0  ' new client
Public Const cvcs_Connecting As Long = 1  ' the link is being opened
Public Const cvcs_Connected As Long = 2  ' connect request accepted, sign-on sent
Public Const cvcs_ApReady As Long = 3  ' signed on; requests may be sent

' Message codes. Requests are sent with cvmc_TaskResult and cvmc_RequestAck. Codes 129 and 131 arrive as
' OnVekRequestAckEvent, 130 as OnVekReportEvent.
Public Const cvmc_TaskResult As Long = 128  ' a query and its result; limited to the query rate given at sign-on
Public Const cvmc_RequestAck As Long = 129  ' a request and its acknowledgement
Public Const cvmc_Report As Long = 130  ' a report, sent by the server only
Public Const cvmc_RequestAck2 As Long = 131  ' a second kind of acknowledgement

' Reasons given by the library itself in OnVekConnectEvent and OnVekChgPassResultEvent (CVekApi_ReasonOf).
Public Const cvre_Other As Long = 0  ' a text of the server or the operating system, or none
Public Const cvre_Disconnect As Long = 1  ' CVekClient_Disconnect was called
Public Const cvre_HeartbeatTimeout As Long = 2  ' with cvcs_HeartbeatTimeout
Public Const cvre_UnknownServer As Long = 3  ' with cvcs_UnknownServer
Public Const cvre_BadPacketLength As Long = 4  ' with cvcs_LinkBroken: received bytes are not valid packets
Public Const cvre_LongMessage As Long = 5  ' with cvcs_LinkBroken: a message exceeded the size limit
Public Const cvre_BadSetting As Long = 6  ' with cvcs_LinkError: invalid setting
Public Const cvre_BadApName As Long = 7  ' with cvcs_LinkError: the application name is too long
Public Const cvre_SignOnTooLong As Long = 8  ' with cvcs_SgnError: identity and password together are too long
Public Const cvre_ChgPassTooLong As Long = 9  ' from CVekClient_ChgPass: its texts together are too long
Public Const cvre_ConnectTimeout As Long = 10  ' with cvcs_LinkError: the link did not open in time
Public Const cvre_SignOnTimeout As Long = 11  ' with cvcs_LinkBroken: no answer to the sign-on in time
Public Const cvre_NoMemory As Long = 12  ' with cvcs_LinkError or cvcs_LinkBroken

Public Type CVekProperties
    Object As LongPtr
End Type

Public Type CVekField
    Object As LongPtr
End Type

Public Type CVekFields
    Object As LongPtr
End Type

Public Type CVekTable
    Object As LongPtr
End Type

Public Type CVekTaskResult
    Object As LongPtr
End Type

Public Type CVekClient
    Object As LongPtr
End Type

Public Type CVekFlowCtrl
    Object As LongPtr
End Type

Public Type CVekFlowCtrlSender
    Object As LongPtr
End Type

Public Type CVekClientCallbacks
    OnVekUnknownMsgCodeEvent As LongPtr
    OnVekConnectEvent As LongPtr
    OnVekApReadyEvent As LongPtr
    OnVekTaskResultEvent As LongPtr
    OnVekChgPassResultEvent As LongPtr
    OnVekRequestAckEvent As LongPtr
    OnVekReportEvent As LongPtr
    OnVekClientDestroyEvent As LongPtr
End Type

Public Type CVekFlowCtrlCallbacks
    OnVekFlowCtrlFree As LongPtr
End Type

Public Type CVekFlowCtrlSenderCallbacks
    OnVekFlowCtrlSenderSent As LongPtr
End Type

' What AddressOf is given for the entries of these tables:
'
' A message with a code unknown to the library. `packet` is the whole message, header included, `length`
' bytes.
'     Public Sub CVekOnUnknownMsgCode(ByVal client As LongPtr, ByVal user As LongPtr, _
'         ByVal msgCode As Long, ByVal packet As LongPtr, ByVal length As Long)
'
' The state changed; read it with CVekClient_State. `reason` is empty if the server accepted the connect
' request; otherwise it gives the cause.
'     Public Sub CVekOnConnect(ByVal client As LongPtr, ByVal user As LongPtr, ByVal reason As LongPtr)
'
' Signed on: CVekClient_SgnResult holds the accounts, and requests may be sent.
'     Public Sub CVekOnApReady(ByVal client As LongPtr, ByVal user As LongPtr)
'
' The result of a query (code 128).
'     Public Sub CVekOnTaskResult(ByVal client As LongPtr, ByVal user As LongPtr, ByVal result As LongPtr)
'
' The answer to CVekClient_ChgPass. `resultText` is for display.
'     Public Sub CVekOnChgPassResult(ByVal client As LongPtr, ByVal user As LongPtr, _
'         ByVal userId As LongPtr, ByVal resultText As LongPtr)
'
' An acknowledgement, `msgCode` 129 or 131. With 129 the text has one line per acknowledged request; pass
' code and text to CVekFlowCtrlSender_AckParser.
'     Public Sub CVekOnRequestAck(ByVal client As LongPtr, ByVal user As LongPtr, ByVal msgCode As Long, _
'         ByVal ackText As LongPtr)
'
' A report from the server (code 130).
'     Public Sub CVekOnReport(ByVal client As LongPtr, ByVal user As LongPtr, ByVal reportText As LongPtr)
'
' The client is being deleted. This is its last callback, on the thread that deletes it. The handle passed to
' CVekClient_Delete is already null and is not accessed again, so its memory may be freed here. `client` may
' be used to read the state; deleting it again does nothing.
'     Public Sub CVekOnClientDestroy(ByVal client As LongPtr, ByVal user As LongPtr)
'
' The gate is open again. Runs inside CVekFlowCtrl_SetAckTime and CVekFlowCtrl_StartCheckTimer on the
' caller's thread, or on a timer thread, with the gate's locks held. It may call every function of this gate
' and send with any client. It must not connect, disconnect or delete a client, or wait for a thread that
' uses the gate or runs a client's callback. It may delete the gate if no other thread uses it and it was not
' locked with CVekFlowCtrl_Lock. `gate` is the address of a temporary handle, valid until the callback
' returns.
'     Public Sub CVekOnFlowCtrlFree(ByVal gate As LongPtr, ByVal user As LongPtr)
'
' Reports, since the previous call, how many held requests the link accepted (`sent`) and how many requests
' of any kind it refused (`refused`). Runs on the thread that created the sender. `sender` is the address of
' a temporary handle, valid until the callback returns. The callback may do anything.
'     Public Sub CVekOnFlowCtrlSenderSent(ByVal sender As LongPtr, ByVal user As LongPtr, _
'         ByVal sent As Long, ByVal refused As Long)

' The library's version, such as "0.1.0". The text is valid until the library is unloaded.
Public Declare PtrSafe Function CVekApi_Version Lib "vekapi.dll" () As LongPtr

' Returns a new automation string with the bytes of `text` up to its NUL, unconverted. The caller frees it
' with CVekApi_FreeBSTR. Null if `text` is null or there is no memory.
Public Declare PtrSafe Function CstrToBSTR Lib "vekapi.dll" (ByVal text As String) As String
Public Declare PtrSafe Function CstrToBSTR_P Lib "vekapi.dll" Alias "CstrToBSTR" ( _
    ByVal text As LongPtr) As String

' Frees a string returned by CstrToBSTR or by a function ending in _B. Does nothing for null.
Public Declare PtrSafe Sub CVekApi_FreeBSTR Lib "vekapi.dll" (ByVal text As LongPtr)

' The value of `key`, or null if there is none.
Public Declare PtrSafe Function CVekProperties_Get Lib "vekapi.dll" ( _
    ByRef properties As CVekProperties, ByVal key As String) As LongPtr
Public Declare PtrSafe Function CVekProperties_Get_P Lib "vekapi.dll" Alias "CVekProperties_Get" ( _
    ByRef properties As CVekProperties, ByVal key As LongPtr) As LongPtr

' The value of `key`, or null if there is none.
Public Declare PtrSafe Function CVekProperties_Get_B Lib "vekapi.dll" ( _
    ByRef properties As CVekProperties, ByVal key As String) As String
Public Declare PtrSafe Function CVekProperties_Get_B_P Lib "vekapi.dll" Alias "CVekProperties_Get_B" ( _
    ByRef properties As CVekProperties, ByVal key As LongPtr) As String

' The name of the table or column; "" if it has none.
Public Declare PtrSafe Function CVekProperties_Name Lib "vekapi.dll" ( _
    ByRef properties As CVekProperties) As LongPtr

' The name of the table or column; "" if it has none.
Public Declare PtrSafe Function CVekProperties_Name_B Lib "vekapi.dll" ( _
    ByRef properties As CVekProperties) As String

' The text to show to users: the value of "DisplayText", or the name if there is none.
Public Declare PtrSafe Function CVekProperties_DisplayText Lib "vekapi.dll" ( _
    ByRef properties As CVekProperties) As LongPtr

' The text to show to users: the value of "DisplayText", or the name if there is none.
Public Declare PtrSafe Function CVekProperties_DisplayText_B Lib "vekapi.dll" ( _
    ByRef properties As CVekProperties) As String

' The value of "Description", or the display text if there is none.
Public Declare PtrSafe Function CVekProperties_Description Lib "vekapi.dll" ( _
    ByRef properties As CVekProperties) As LongPtr

' The value of "Description", or the display text if there is none.
Public Declare PtrSafe Function CVekProperties_Description_B Lib "vekapi.dll" ( _
    ByRef properties As CVekProperties) As String

' The pairs, without the name, in arrival order: 0x01 KEY "=" VALUE for each.
Public Declare PtrSafe Function CVekProperties_ToString Lib "vekapi.dll" ( _
    ByRef properties As CVekProperties) As LongPtr

' The pairs, without the name, in arrival order: 0x01 KEY "=" VALUE for each.
Public Declare PtrSafe Function CVekProperties_ToString_B Lib "vekapi.dll" ( _
    ByRef properties As CVekProperties) As String

' The column's name and attributes.
Public Declare PtrSafe Function CVekField_Properties Lib "vekapi.dll" (ByRef field As CVekField) As LongPtr

' Position in the table, counted from 0; -1 for a null handle.
Public Declare PtrSafe Function CVekField_Index Lib "vekapi.dll" (ByRef field As CVekField) As Long

' A column by name, or by index counted from 0. Null handle if there is no such column.
Public Declare PtrSafe Function CVekFields_NameField Lib "vekapi.dll" (ByRef fields As CVekFields, _
    ByVal name As String) As LongPtr
Public Declare PtrSafe Function CVekFields_NameField_P Lib "vekapi.dll" Alias "CVekFields_NameField" ( _
    ByRef fields As CVekFields, ByVal name As LongPtr) As LongPtr

' A column by name, or by index counted from 0. Null handle if there is no such column.
Public Declare PtrSafe Function CVekFields_IndexField Lib "vekapi.dll" (ByRef fields As CVekFields, _
    ByVal index As Long) As LongPtr

' Number of columns.
Public Declare PtrSafe Function CVekFields_Count Lib "vekapi.dll" (ByRef fields As CVekFields) As Long

' The table's name and attributes.
Public Declare PtrSafe Function CVekTable_Properties Lib "vekapi.dll" (ByRef table As CVekTable) As LongPtr

' The columns, in table order.
Public Declare PtrSafe Function CVekTable_Fields Lib "vekapi.dll" (ByRef table As CVekTable) As LongPtr

' Number of records.
Public Declare PtrSafe Function CVekTable_RecordsCount Lib "vekapi.dll" (ByRef table As CVekTable) As Long

' The value of one column of one record; "" if the record has no value for it. `row` and `col` count from 0.
' Null if there is no such record or column.
Public Declare PtrSafe Function CVekTable_RecordIndexField Lib "vekapi.dll" ( _
    ByRef table As CVekTable, ByVal row As Long, ByVal col As Long) As LongPtr

' The value of one column of one record; "" if the record has no value for it. `row` and `col` count from 0.
' Null if there is no such record or column.
Public Declare PtrSafe Function CVekTable_RecordIndexField_B Lib "vekapi.dll" ( _
    ByRef table As CVekTable, ByVal row As Long, ByVal col As Long) As String

' As CVekTable_RecordIndexField, with the column given by its handle. Null for a null column.
Public Declare PtrSafe Function CVekTable_RecordField Lib "vekapi.dll" (ByRef table As CVekTable, _
    ByVal row As Long, ByRef field As CVekField) As LongPtr

' As CVekTable_RecordIndexField, with the column given by its handle. Null for a null column.
Public Declare PtrSafe Function CVekTable_RecordField_B Lib "vekapi.dll" (ByRef table As CVekTable, _
    ByVal row As Long, ByRef field As CVekField) As String

' The number in the table's "mkt" attribute: cvam_..., or another value if the server sent one.
Public Declare PtrSafe Function CVekTable_MktFlag Lib "vekapi.dll" (ByRef table As CVekTable) As Long

' The id that matches this answer to its request.
Public Declare PtrSafe Function CVekTaskResult_WorkID Lib "vekapi.dll" ( _
    ByRef result As CVekTaskResult) As LongPtr

' The id that matches this answer to its request.
Public Declare PtrSafe Function CVekTaskResult_WorkID_B Lib "vekapi.dll" ( _
    ByRef result As CVekTaskResult) As String

' The text that the tables were read from, as far as its first NUL.
Public Declare PtrSafe Function CVekTaskResult_OrigResult Lib "vekapi.dll" ( _
    ByRef result As CVekTaskResult) As LongPtr

' The text that the tables were read from, as far as its first NUL.
Public Declare PtrSafe Function CVekTaskResult_OrigResult_B Lib "vekapi.dll" ( _
    ByRef result As CVekTaskResult) As String

' A table by name, or by index counted from 0, in arrival order. Null handle if there is no such table.
Public Declare PtrSafe Function CVekTaskResult_NameTable Lib "vekapi.dll" ( _
    ByRef result As CVekTaskResult, ByVal name As String) As LongPtr
Public Declare PtrSafe Function CVekTaskResult_NameTable_P Lib "vekapi.dll" Alias "CVekTaskResult_NameTable" ( _
    ByRef result As CVekTaskResult, ByVal name As LongPtr) As LongPtr

' A table by name, or by index counted from 0, in arrival order. Null handle if there is no such table.
Public Declare PtrSafe Function CVekTaskResult_IndexTable Lib "vekapi.dll" ( _
    ByRef result As CVekTaskResult, ByVal index As Long) As LongPtr

Public Declare PtrSafe Function CVekTaskResult_TableCount Lib "vekapi.dll" ( _
    ByRef result As CVekTaskResult) As Long

' The cvre_... value of a reason text, compared as a whole. cvre_Other for null and for unknown texts.
Public Declare PtrSafe Function CVekApi_ReasonOf Lib "vekapi.dll" (ByVal reason As String) As Long
Public Declare PtrSafe Function CVekApi_ReasonOf_P Lib "vekapi.dll" Alias "CVekApi_ReasonOf" ( _
    ByVal reason As LongPtr) As Long

' Returns a new client, owned by the caller. The table is copied; a null table has null entries only. `user`
' is passed to the callbacks and otherwise not used.
Public Declare PtrSafe Function CVekClient_Create Lib "vekapi.dll" ( _
    ByRef callbacks As CVekClientCallbacks, ByVal user As LongPtr) As LongPtr

' Calls OnVekClientDestroyEvent, closes the session and frees the client. The handle becomes null before that
' callback. Waits for a callback running on another thread; a waiting thread keeps answering messages sent to
' its windows. No callback follows, unless the call was made inside one. Must not overlap with any other
' function on that client.
Public Declare PtrSafe Sub CVekClient_Delete Lib "vekapi.dll" (ByRef client As CVekClient)

' The client's cvcs_... state.
Public Declare PtrSafe Function CVekClient_State Lib "vekapi.dll" (ByRef client As CVekClient) As Long

' True at cvcs_Connected, cvcs_ApReady and cvcs_SgnError.
Public Declare PtrSafe Function CVekClient_IsSessionConnected Lib "vekapi.dll" ( _
    ByRef client As CVekClient) As Byte

' Closes any earlier session and opens a new one. Returns true if the attempt was started; its outcome
' arrives as callbacks. An invalid setting calls OnVekConnectEvent in state cvcs_LinkError before the
' function returns. Returns false and does nothing if a text other than the password is null; a null password
' is empty.
'
' `setting` is "HOST:PORT" for TCP, or ":KIND:PARAMETERS" (docs/settings.md). `apVersion` is four numbers,
' such as "1.2.3.4". `id1` and `id2` are joined by "/" into the user identity. Identity and password are
' limited to 255 bytes each. Must not overlap with _Connect, _Disconnect or _Delete of the same client on
' another thread.
Public Declare PtrSafe Function CVekClient_Connect Lib "vekapi.dll" (ByRef client As CVekClient, _
    ByVal setting As String, ByVal apName As String, ByVal apVersion As String, _
    ByVal id1 As String, ByVal id2 As String, ByVal password As String) As Byte
Public Declare PtrSafe Function CVekClient_Connect_P Lib "vekapi.dll" Alias "CVekClient_Connect" ( _
    ByRef client As CVekClient, ByVal setting As LongPtr, ByVal apName As LongPtr, _
    ByVal apVersion As LongPtr, ByVal id1 As LongPtr, ByVal id2 As LongPtr, _
    ByVal password As LongPtr) As Byte

' Closes the session and calls OnVekConnectEvent with "Disconnect()" in state cvcs_Disconnected. No callback
' of that session follows.
Public Declare PtrSafe Sub CVekClient_Disconnect Lib "vekapi.dll" (ByRef client As CVekClient)

' The result that ended the last sign-on; empty before the first one.
'
' For a client on a message loop: inside its callbacks, the result that was current at that event, valid
' until the callback returns; outside, the latest result, valid until this function or CVekClient_ServerName
' is next called for that client outside its callbacks. For other clients: valid as long as the client lives,
' but the next sign-on replaces its content, so read it inside callbacks or while no sign-on can be in
' progress.
Public Declare PtrSafe Function CVekClient_SgnResult Lib "vekapi.dll" (ByRef client As CVekClient) As LongPtr

' Name and version of the server, such as "GW.2.0.1.15"; "" while not connected, null for a null handle.
' Called inside a callback, the text is valid until the callback returns; otherwise the rules of
' CVekClient_SgnResult apply.
Public Declare PtrSafe Function CVekClient_ServerName Lib "vekapi.dll" (ByRef client As CVekClient) As LongPtr

' Asks the server to change a password; the answer arrives as OnVekChgPassResultEvent. Returns false if not
' connected, if the link refused the request, if the texts exceed 4091 bytes together (the event then says
' so), or if `user` is null. Null passwords are empty. Each text is limited to 255 bytes.
Public Declare PtrSafe Function CVekClient_ChgPass Lib "vekapi.dll" (ByRef client As CVekClient, _
    ByVal user As String, ByVal oldPassword As String, ByVal newPassword As String) As Byte
Public Declare PtrSafe Function CVekClient_ChgPass_P Lib "vekapi.dll" Alias "CVekClient_ChgPass" ( _
    ByRef client As CVekClient, ByVal user As LongPtr, ByVal oldPassword As LongPtr, _
    ByVal newPassword As LongPtr) As Byte

' Scrambles a complete packet of `length` bytes in place, from the fourth byte on, if the session uses
' scrambling.
Public Declare PtrSafe Sub CVekClient_EncPacket Lib "vekapi.dll" (ByRef client As CVekClient, _
    ByRef packet As Byte, ByVal length As Long)

' Sends a complete packet of `length` bytes, header included. Returns true if the link accepted it. The
' buffer is scrambled in place.
Public Declare PtrSafe Function CVekClient_SendPk Lib "vekapi.dll" (ByRef client As CVekClient, _
    ByRef packet As Byte, ByVal length As Long) As Byte

' Sends a request. The buffer starts with five bytes reserved for the library, followed by the text; `length`
' counts both and is at least 6. The buffer is modified. Returns true if the link accepted the whole request,
' false if nothing was sent. A query (code 128) also returns false when the query rate given at sign-on is
' used up; the buffer is then unmodified and may be sent again later.
Public Declare PtrSafe Function CVekClient_SendVekRequest Lib "vekapi.dll" ( _
    ByRef client As CVekClient, ByVal msgCode As Long, ByRef buffer As Byte, ByVal length As Long) As Byte

' Sends a query (cvmc_TaskResult) and reports how long to wait: 0 if sent; a positive number of milliseconds
' until the query rate allows it (buffer unmodified); -1 if it was not sent and waiting will not help.
Public Declare PtrSafe Function CVekClient_SendVekQueryRequest Lib "vekapi.dll" ( _
    ByRef client As CVekClient, ByRef buffer As Byte, ByVal length As Long) As Long

' Returns a new gate, owned by the caller. Until configured, it is open. The table is copied; a null table
' has a null entry.
Public Declare PtrSafe Function CVekFlowCtrl_Create Lib "vekapi.dll" ( _
    ByRef callbacks As CVekFlowCtrlCallbacks, ByVal user As LongPtr) As LongPtr

' As CVekFlowCtrl_Create, with the callback on the calling thread, when that thread runs its message loop
' (see "Message loop" below), and without locks held. The callback may do anything, including connecting,
' disconnecting and deleting clients and deleting the gate. Null handle if the thread cannot have a window or
' there is no memory.
'
' Several openings before the callback runs count as one. Another thread may have used the free slot by then:
' a callback that finds the gate closed (CVekFlowCtrl_CheckFlowCtrl) calls CVekFlowCtrl_StartCheckTimer
' again.
Public Declare PtrSafe Function CVekFlowCtrl_Create_OnMessageLoop Lib "vekapi.dll" ( _
    ByRef callbacks As CVekFlowCtrlCallbacks, ByVal user As LongPtr) As LongPtr

' Deletes the gate. Waits for a callback running on another thread; none follows. No other thread may use the
' gate any more or hold its lock.
Public Declare PtrSafe Sub CVekFlowCtrl_Delete Lib "vekapi.dll" (ByRef gate As CVekFlowCtrl)

' True if a rate is set.
Public Declare PtrSafe Function CVekFlowCtrl_IsFlowCfg Lib "vekapi.dll" (ByRef gate As CVekFlowCtrl) As Byte

' Removes the rate and forgets past requests. A waiting gate calls OnVekFlowCtrlFree soon.
Public Declare PtrSafe Sub CVekFlowCtrl_Clear Lib "vekapi.dll" (ByRef gate As CVekFlowCtrl)

' Sets the rate: `count` requests within any `ms` milliseconds. Forgets past requests. If either value is
' below 1, same as CVekFlowCtrl_Clear. Call it again when a new session is ready: requests sent over an ended
' link are never acknowledged and would keep their slots.
Public Declare PtrSafe Sub CVekFlowCtrl_SetFlowCtrl Lib "vekapi.dll" (ByRef gate As CVekFlowCtrl, _
    ByVal count As Long, ByVal ms As Long)

' Records that `n` requests were acknowledged. May call OnVekFlowCtrlFree.
Public Declare PtrSafe Sub CVekFlowCtrl_SetAckTime Lib "vekapi.dll" (ByRef gate As CVekFlowCtrl, _
    ByVal n As Long)

' Asks to send one request now. 0: allowed, and counted as sent (also for a null handle). Positive: not now;
' ask again after that many milliseconds. Negative: not before an acknowledgement arrives.
Public Declare PtrSafe Function CVekFlowCtrl_CheckFlowCtrl Lib "vekapi.dll" ( _
    ByRef gate As CVekFlowCtrl) As Long

' Sleeps for `ms` milliseconds on the calling thread; for 1 ms if `ms` is above 0x7FFFFFFF, as a negative
' result of CVekFlowCtrl_CheckFlowCtrl is.
Public Declare PtrSafe Sub CVekFlowCtrl_Sleep Lib "vekapi.dll" (ByVal ms As Long)

' Calls OnVekFlowCtrlFree when a request may be sent: immediately or later. Does nothing if no rate is set.
Public Declare PtrSafe Sub CVekFlowCtrl_StartCheckTimer Lib "vekapi.dll" (ByRef gate As CVekFlowCtrl)

' Locks and unlocks the gate's user lock. It is recursive: unlock as often as locked. While holding it, a
' thread must not connect, disconnect or delete a client.
Public Declare PtrSafe Sub CVekFlowCtrl_Lock Lib "vekapi.dll" (ByRef gate As CVekFlowCtrl)

' Locks and unlocks the gate's user lock. It is recursive: unlock as often as locked. While holding it, a
' thread must not connect, disconnect or delete a client.
Public Declare PtrSafe Sub CVekFlowCtrl_Unlock Lib "vekapi.dll" (ByRef gate As CVekFlowCtrl)

' Returns a new sender, owned by the caller. It may outlive the client; all requests are then refused. Until
' a rate is set, requests are sent immediately.
Public Declare PtrSafe Function CVekFlowCtrlSender_Create Lib "vekapi.dll" ( _
    ByRef client As CVekClient) As LongPtr

' As CVekFlowCtrlSender_Create, with a callback on the calling thread when that thread runs its message loop.
' Held requests are sent when the rate allows, whether or not the thread runs its loop. Null handle if the
' thread cannot have a window or there is no memory.
Public Declare PtrSafe Function CVekFlowCtrlSender_Create_OnMessageLoop Lib "vekapi.dll" ( _
    ByRef client As CVekClient, ByRef callbacks As CVekFlowCtrlSenderCallbacks, _
    ByVal user As LongPtr) As LongPtr

' Drops the held requests without sending them; otherwise as CVekFlowCtrl_Delete.
Public Declare PtrSafe Sub CVekFlowCtrlSender_Delete Lib "vekapi.dll" ( _
    ByRef sender As CVekFlowCtrlSender)

' As CVekFlowCtrl_SetFlowCtrl.
Public Declare PtrSafe Sub CVekFlowCtrlSender_SetFlowCtrl Lib "vekapi.dll" ( _
    ByRef sender As CVekFlowCtrlSender, ByVal count As Long, ByVal ms As Long)

' 1 if a rate is set, else 0. An int, unlike CVekFlowCtrl_IsFlowCfg.
Public Declare PtrSafe Function CVekFlowCtrlSender_IsFlowCfg Lib "vekapi.dll" ( _
    ByRef sender As CVekFlowCtrlSender) As Long

' Number of held requests.
Public Declare PtrSafe Function CVekFlowCtrlSender_PendingCount Lib "vekapi.dll" ( _
    ByRef sender As CVekFlowCtrlSender) As Long

' Sends the held requests that the rate allows now; the rest follow by timer.
Public Declare PtrSafe Sub CVekFlowCtrlSender_CheckPending Lib "vekapi.dll" ( _
    ByRef sender As CVekFlowCtrlSender)

' Drops the held requests and returns their number. They were not sent and will not be.
Public Declare PtrSafe Function CVekFlowCtrlSender_DropPending Lib "vekapi.dll" ( _
    ByRef sender As CVekFlowCtrlSender) As Long

' Removes the oldest held request without sending it: copies its text into `buffer`, which has space for
' `size` bytes, without a terminating NUL. Returns the text's length, or 0 if nothing is held. A text longer
' than `size` stays held; its length is returned and nothing is copied.
Public Declare PtrSafe Function CVekFlowCtrlSender_TakePending Lib "vekapi.dll" ( _
    ByRef sender As CVekFlowCtrlSender, ByRef buffer As Byte, ByVal size As Long) As Long

' Number of requests that the link refused since the sender was created: not sent and not held. Causes: no
' session, a full send queue, no memory.
Public Declare PtrSafe Function CVekFlowCtrlSender_RefusedCount Lib "vekapi.dll" ( _
    ByRef sender As CVekFlowCtrlSender) As Long

' Call it with the arguments of OnVekRequestAckEvent. Counts the acknowledged requests of code 129; may send
' held ones. Other codes and a null text are ignored.
Public Declare PtrSafe Sub CVekFlowCtrlSender_AckParser Lib "vekapi.dll" ( _
    ByRef sender As CVekFlowCtrlSender, ByVal code As Long, ByVal text As String)
Public Declare PtrSafe Sub CVekFlowCtrlSender_AckParser_P Lib "vekapi.dll" Alias "CVekFlowCtrlSender_AckParser" ( _
    ByRef sender As CVekFlowCtrlSender, ByVal code As Long, ByVal text As LongPtr)

' Records that `n` requests were acknowledged; may send held ones. The second argument is ignored.
Public Declare PtrSafe Sub CVekFlowCtrlSender_SetAckTime Lib "vekapi.dll" ( _
    ByRef sender As CVekFlowCtrlSender, ByVal ignored As Long, ByVal n As Long)

' Sends or holds one request: five bytes reserved for the library, then the text; `length` counts both. The
' buffer is modified. Returns true if nothing is held after the call; false if a request is held, or if
' `length` is below 6 (the request is dropped).
Public Declare PtrSafe Function CVekFlowCtrlSender_SendVekRequest Lib "vekapi.dll" ( _
    ByRef sender As CVekFlowCtrlSender, ByRef buffer As Byte, ByVal length As Long) As Byte

' Sends or holds several requests: five bytes reserved for the library, then pairs of lines separated by line
' feeds. A last line without a partner is dropped. Returns how many were sent now; the others are held. The
' buffer is modified.
Public Declare PtrSafe Function CVekFlowCtrlSender_SendVekRequests Lib "vekapi.dll" ( _
    ByRef sender As CVekFlowCtrlSender, ByRef buffer As Byte, ByVal length As Long) As Long

' As CVekClient_Create, with all callbacks on the calling thread, when that thread runs its message loop.
' Null handle if the thread cannot have a window or there is no memory.
'
' The loop. On Windows any loop of GetMessage and DispatchMessage, including modal ones (message box, menu,
' dragging). On both systems CVekMessageLoop_Dispatch may be used instead.
'
' Order. Callbacks run one at a time in wire order, later than the event. Events from before a
' CVekClient_Connect or CVekClient_Disconnect, and the events of these calls themselves, are delivered after
' the call has returned. Inside a callback, on its thread, CVekClient_State, _IsSessionConnected, _SgnResult
' and _ServerName return the values at the time of the event; outside callbacks and on other threads, the
' current values.
'
' Batches. One message delivers at most 10 ms' worth of events or a thousand of them. The rest follows after
' the thread's other work: other clients, input, painting, timers.
'
' Waiting. Task results and password results are borrowed, so the session waits until their callback has
' returned; meanwhile nothing else of that session arrives. The thread delivers these two events, and those
' queued before them, also while it waits inside a function of this library. Callbacks may therefore run
' inside any call that connects, disconnects or deletes. The thread must not wait for the session in any
' other way.
'
' Inside a callback the thread may do anything: connect, disconnect, delete, run a nested loop (a message
' box). Other callbacks may or may not run inside that nested loop, so it must not wait for them. After
' deletion only OnVekClientDestroyEvent is called, by CVekClient_Delete itself on its own thread before it
' returns; queued events are dropped.
'
' CVekClient_Delete should be called on the creating thread. Another thread may call it outside callbacks; it
' then waits for the creating thread to run its loop or to end. A client whose thread has ended gets no
' callbacks except the last, and queues nothing; it must still be deleted.
Public Declare PtrSafe Function CVekClient_Create_OnMessageLoop Lib "vekapi.dll" ( _
    ByRef callbacks As CVekClientCallbacks, ByVal user As LongPtr) As LongPtr

' Delivers the messages waiting for the calling thread, at most a thousand and none that arrive meanwhile,
' and returns their number. If there are none, waits up to `timeoutMs` milliseconds (0: does not wait;
' negative: no limit) and returns 0 on timeout. Returns a negative value on error, and on Windows also if
' WM_QUIT is queued (it stays in the queue). On Windows it serves all windows of the thread. May be called
' inside a callback.
Public Declare PtrSafe Function CVekMessageLoop_Dispatch Lib "vekapi.dll" (ByVal timeoutMs As Long) As Long

' For event loops that watch descriptors (poll, epoll, GLib, Qt, asyncio): a descriptor that is readable
' while messages wait for the calling thread; then call CVekMessageLoop_Dispatch(0). Owned by the library and
' valid for the thread's lifetime; do not read or close it. -1 on error, and on Windows, where the thread's
' message loop serves everything.
Public Declare PtrSafe Function CVekMessageLoop_Fd Lib "vekapi.dll" () As Long
