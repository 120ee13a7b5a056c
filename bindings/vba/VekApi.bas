Attribute VB_Name = "VekApi"
Option Explicit

' Made by tools/gen_bindings/make_bindings.py from include/vekapi/VekApiC.h. Not to be edited.
' The types, constants and functions of VekApiC.h, for 64-bit VBA 7. How to use them is told in docs/vba.md.
'
' Functions that take texts are there twice: as they are called, for texts in ASCII, and ending in _P, with the addresses
' of texts in code page 950 (VekPut in VekText.bas makes such texts).
'
' A function that returns a handle returns its pointer: client.Object = CVekClient_Create(callbacks, 0).

' Account market of a table (CVekTable_MktFlag). The server may use other numbers.
Public Const cvam_None As Long = 0  ' the table says nothing about it
Public Const cvam_Stock As Long = 1  ' domestic securities
Public Const cvam_Futures As Long = 2  ' domestic futures and options
Public Const cvam_ForeignFutures As Long = 3  ' foreign futures and options
Public Const cvam_ForeignStock As Long = 4  ' foreign securities

' CVekClient_State
Public Const cvcs_HeartbeatTimeout As Long = -7  ' nothing came from the server for a heartbeat period; the link is not closed
Public Const cvcs_ConnectError As Long = -6  ' the server refused the connect request
Public Const cvcs_SgnError As Long = -5  ' the server refused the sign-on; the link stays up for a password change
Public Const cvcs_UnknownServer As Long = -4  ' the server never answered the connect request
Public Const cvcs_LinkBroken As Long = -3
Public Const cvcs_LinkError As Long = -2  ' the link could not be opened
Public Const cvcs_Disconnected As Long = -1  ' after CVekClient_Disconnect
Public Const cvcs_None As Long = 0  ' new client
Public Const cvcs_Connecting As Long = 1  ' the link is being opened
Public Const cvcs_Connected As Long = 2  ' connect request accepted, sign-on sent
Public Const cvcs_ApReady As Long = 3  ' signed on; requests may be sent

' Codes of messages. Requests are sent with the first two; the others come, as OnVekRequestAckEvent and
' OnVekReportEvent.
Public Const cvmc_TaskResult As Long = 128  ' a query, and its answer; paced by the rate that the server gave at sign-on
Public Const cvmc_RequestAck As Long = 129  ' a request, and its acknowledgement
Public Const cvmc_Report As Long = 130
Public Const cvmc_RequestAck2 As Long = 131  ' another acknowledgement

' The reasons that the library itself gives in OnVekConnectEvent and OnVekChgPassResultEvent
' (CVekApi_ReasonOf).
Public Const cvre_Other As Long = 0  ' the words of the server or of the system, or none
Public Const cvre_Disconnect As Long = 1  ' CVekClient_Disconnect was called
Public Const cvre_HeartbeatTimeout As Long = 2  ' with cvcs_HeartbeatTimeout
Public Const cvre_UnknownServer As Long = 3  ' with cvcs_UnknownServer
Public Const cvre_BadPacketLength As Long = 4  ' with cvcs_LinkBroken: what came was no stream of packets
Public Const cvre_LongMessage As Long = 5  ' with cvcs_LinkBroken: a message had more pieces than any may have
Public Const cvre_BadSetting As Long = 6  ' with cvcs_LinkError: nothing can be made of the setting
Public Const cvre_BadApName As Long = 7  ' with cvcs_LinkError: the application name is too long
Public Const cvre_SignOnTooLong As Long = 8  ' with cvcs_SgnError: identity and password are too long together
Public Const cvre_ChgPassTooLong As Long = 9  ' of CVekClient_ChgPass: its texts are too long together
Public Const cvre_ConnectTimeout As Long = 10  ' with cvcs_LinkError: the link did not open in time
Public Const cvre_SignOnTimeout As Long = 11  ' with cvcs_LinkBroken: no answer to the sign-on came in time
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
' A message of a code that the library does not know: the whole message, header included, of `length` bytes.
'     Public Sub CVekOnUnknownMsgCode(ByVal client As LongPtr, ByVal user As LongPtr, _
'         ByVal msgCode As Long, ByVal packet As LongPtr, ByVal length As Long)
'
' The state changed: read it with CVekClient_State. `reason` is empty when the server accepted the connect
' request, else says why.
'     Public Sub CVekOnConnect(ByVal client As LongPtr, ByVal user As LongPtr, ByVal reason As LongPtr)
'
' Signed on: CVekClient_SgnResult holds the accounts, requests may be sent.
'     Public Sub CVekOnApReady(ByVal client As LongPtr, ByVal user As LongPtr)
'
' The answer to a request of code 128.
'     Public Sub CVekOnTaskResult(ByVal client As LongPtr, ByVal user As LongPtr, ByVal result As LongPtr)
'
' The answer to CVekClient_ChgPass: `resultText` is for people.
'     Public Sub CVekOnChgPassResult(ByVal client As LongPtr, ByVal user As LongPtr, _
'         ByVal userId As LongPtr, ByVal resultText As LongPtr)
'
' An acknowledgement of code 129 or 131; with 129 a line for each acknowledged request, to be handed to
' CVekFlowCtrlSender_AckParser.
'     Public Sub CVekOnRequestAck(ByVal client As LongPtr, ByVal user As LongPtr, ByVal msgCode As Long, _
'         ByVal ackText As LongPtr)
'
'     Public Sub CVekOnReport(ByVal client As LongPtr, ByVal user As LongPtr, ByVal reportText As LongPtr)
'
' The client is being deleted; its last callback, on the thread that deletes it. The handle that was given to
' CVekClient_Delete is null by now and not touched any more: what holds it may be freed here. Through
' `client` the state may be asked for; deleting it again does nothing.
'     Public Sub CVekOnClientDestroy(ByVal client As LongPtr, ByVal user As LongPtr)
'
' The gate is open again. Runs inside CVekFlowCtrl_SetAckTime and CVekFlowCtrl_StartCheckTimer on the
' caller's thread, or on the timer's, with the gate's locks held. It may call everything of this gate and
' send with any client; it must not connect, disconnect or delete a client, or wait for another thread that
' uses the gate or is inside a client's callback. It may delete the gate when nobody else uses it and it was
' not locked with CVekFlowCtrl_Lock. `gate` is the address of a temporary handle, valid until the callback
' returns.
'     Public Sub CVekOnFlowCtrlFree(ByVal gate As LongPtr, ByVal user As LongPtr)
'
' What a sender tells the thread that created it: how many of the requests that were held the link has taken,
' and how many of all it has refused, since it told the last time. `sender` is the address of a temporary
' handle, valid until the callback returns, which may do everything.
'     Public Sub CVekOnFlowCtrlSenderSent(ByVal sender As LongPtr, ByVal user As LongPtr, _
'         ByVal sent As Long, ByVal refused As Long)

' Its version, such as "0.1.0". The text is there as long as the library.
Public Declare PtrSafe Function CVekApi_Version Lib "vekapi.dll" () As LongPtr

' A new automation string with the bytes of `text` up to its NUL, unchanged; it belongs to the caller. Null
' for null.
Public Declare PtrSafe Function CstrToBSTR Lib "vekapi.dll" (ByVal text As String) As String
Public Declare PtrSafe Function CstrToBSTR_P Lib "vekapi.dll" Alias "CstrToBSTR" ( _
    ByVal text As LongPtr) As String

' Frees what CstrToBSTR or a function ending in _B returned; nothing for null.
Public Declare PtrSafe Sub CVekApi_FreeBSTR Lib "vekapi.dll" (ByVal text As LongPtr)

' The value of a key; null when there is none.
Public Declare PtrSafe Function CVekProperties_Get Lib "vekapi.dll" ( _
    ByRef properties As CVekProperties, ByVal key As String) As LongPtr
Public Declare PtrSafe Function CVekProperties_Get_P Lib "vekapi.dll" Alias "CVekProperties_Get" ( _
    ByRef properties As CVekProperties, ByVal key As LongPtr) As LongPtr

' The value of a key; null when there is none.
Public Declare PtrSafe Function CVekProperties_Get_B Lib "vekapi.dll" ( _
    ByRef properties As CVekProperties, ByVal key As String) As String
Public Declare PtrSafe Function CVekProperties_Get_B_P Lib "vekapi.dll" Alias "CVekProperties_Get_B" ( _
    ByRef properties As CVekProperties, ByVal key As LongPtr) As String

Public Declare PtrSafe Function CVekProperties_Name Lib "vekapi.dll" ( _
    ByRef properties As CVekProperties) As LongPtr

Public Declare PtrSafe Function CVekProperties_Name_B Lib "vekapi.dll" ( _
    ByRef properties As CVekProperties) As String

' What to show to users: the value of "DisplayText", else the name.
Public Declare PtrSafe Function CVekProperties_DisplayText Lib "vekapi.dll" ( _
    ByRef properties As CVekProperties) As LongPtr

' What to show to users: the value of "DisplayText", else the name.
Public Declare PtrSafe Function CVekProperties_DisplayText_B Lib "vekapi.dll" ( _
    ByRef properties As CVekProperties) As String

' The value of "Description", else the display text.
Public Declare PtrSafe Function CVekProperties_Description Lib "vekapi.dll" ( _
    ByRef properties As CVekProperties) As LongPtr

' The value of "Description", else the display text.
Public Declare PtrSafe Function CVekProperties_Description_B Lib "vekapi.dll" ( _
    ByRef properties As CVekProperties) As String

' The pairs, without the name: for each, in the order of their coming, 0x01 KEY "=" VALUE.
Public Declare PtrSafe Function CVekProperties_ToString Lib "vekapi.dll" ( _
    ByRef properties As CVekProperties) As LongPtr

' The pairs, without the name: for each, in the order of their coming, 0x01 KEY "=" VALUE.
Public Declare PtrSafe Function CVekProperties_ToString_B Lib "vekapi.dll" ( _
    ByRef properties As CVekProperties) As String

' The column's name and attributes.
Public Declare PtrSafe Function CVekField_Properties Lib "vekapi.dll" (ByRef field As CVekField) As LongPtr

' Position in the table, from 0; -1 for a null handle.
Public Declare PtrSafe Function CVekField_Index Lib "vekapi.dll" (ByRef field As CVekField) As Long

' Null handles when there is no such column.
Public Declare PtrSafe Function CVekFields_NameField Lib "vekapi.dll" (ByRef fields As CVekFields, _
    ByVal name As String) As LongPtr
Public Declare PtrSafe Function CVekFields_NameField_P Lib "vekapi.dll" Alias "CVekFields_NameField" ( _
    ByRef fields As CVekFields, ByVal name As LongPtr) As LongPtr

' Null handles when there is no such column.
Public Declare PtrSafe Function CVekFields_IndexField Lib "vekapi.dll" (ByRef fields As CVekFields, _
    ByVal index As Long) As LongPtr

Public Declare PtrSafe Function CVekFields_Count Lib "vekapi.dll" (ByRef fields As CVekFields) As Long

' The table's name and attributes.
Public Declare PtrSafe Function CVekTable_Properties Lib "vekapi.dll" (ByRef table As CVekTable) As LongPtr

Public Declare PtrSafe Function CVekTable_Fields Lib "vekapi.dll" (ByRef table As CVekTable) As LongPtr

Public Declare PtrSafe Function CVekTable_RecordsCount Lib "vekapi.dll" (ByRef table As CVekTable) As Long

' The value of a column of a record, "" when the record has none. Rows and columns count from 0; null when
' there is no such record or column.
Public Declare PtrSafe Function CVekTable_RecordIndexField Lib "vekapi.dll" ( _
    ByRef table As CVekTable, ByVal row As Long, ByVal col As Long) As LongPtr

' The value of a column of a record, "" when the record has none. Rows and columns count from 0; null when
' there is no such record or column.
Public Declare PtrSafe Function CVekTable_RecordIndexField_B Lib "vekapi.dll" ( _
    ByRef table As CVekTable, ByVal row As Long, ByVal col As Long) As String

' The same by a column's handle; null for a null one.
Public Declare PtrSafe Function CVekTable_RecordField Lib "vekapi.dll" (ByRef table As CVekTable, _
    ByVal row As Long, ByRef field As CVekField) As LongPtr

' The same by a column's handle; null for a null one.
Public Declare PtrSafe Function CVekTable_RecordField_B Lib "vekapi.dll" (ByRef table As CVekTable, _
    ByVal row As Long, ByRef field As CVekField) As String

' The number in the table's attribute "mkt": cvam_...
Public Declare PtrSafe Function CVekTable_MktFlag Lib "vekapi.dll" (ByRef table As CVekTable) As Long

' Ties the answer to the request.
Public Declare PtrSafe Function CVekTaskResult_WorkID Lib "vekapi.dll" ( _
    ByRef result As CVekTaskResult) As LongPtr

' Ties the answer to the request.
Public Declare PtrSafe Function CVekTaskResult_WorkID_B Lib "vekapi.dll" ( _
    ByRef result As CVekTaskResult) As String

' The text that the tables were read from. Ends for the caller at its first NUL.
Public Declare PtrSafe Function CVekTaskResult_OrigResult Lib "vekapi.dll" ( _
    ByRef result As CVekTaskResult) As LongPtr

' The text that the tables were read from. Ends for the caller at its first NUL.
Public Declare PtrSafe Function CVekTaskResult_OrigResult_B Lib "vekapi.dll" ( _
    ByRef result As CVekTaskResult) As String

' Null handles when there is no such table. Indexes count from 0.
Public Declare PtrSafe Function CVekTaskResult_NameTable Lib "vekapi.dll" ( _
    ByRef result As CVekTaskResult, ByVal name As String) As LongPtr
Public Declare PtrSafe Function CVekTaskResult_NameTable_P Lib "vekapi.dll" Alias "CVekTaskResult_NameTable" ( _
    ByRef result As CVekTaskResult, ByVal name As LongPtr) As LongPtr

' Null handles when there is no such table. Indexes count from 0.
Public Declare PtrSafe Function CVekTaskResult_IndexTable Lib "vekapi.dll" ( _
    ByRef result As CVekTaskResult, ByVal index As Long) As LongPtr

Public Declare PtrSafe Function CVekTaskResult_TableCount Lib "vekapi.dll" ( _
    ByRef result As CVekTaskResult) As Long

' cvre_..., by the whole text; cvre_Other for null.
Public Declare PtrSafe Function CVekApi_ReasonOf Lib "vekapi.dll" (ByVal reason As String) As Long
Public Declare PtrSafe Function CVekApi_ReasonOf_P Lib "vekapi.dll" Alias "CVekApi_ReasonOf" ( _
    ByVal reason As LongPtr) As Long

' A new client, which belongs to the caller. The table is copied; null counts as a table of nulls. `user` is
' handed to the callbacks and not looked into.
Public Declare PtrSafe Function CVekClient_Create Lib "vekapi.dll" ( _
    ByRef callbacks As CVekClientCallbacks, ByVal user As LongPtr) As LongPtr

' Calls OnVekClientDestroyEvent, closes the session and frees the client; the handle becomes null before that
' callback. Waits for a callback that is running on another thread (a thread answers what is sent to its
' windows meanwhile). No callback comes afterwards, unless the call was made inside one. Not on two threads
' at once, nor together with another function on that client.
Public Declare PtrSafe Sub CVekClient_Delete Lib "vekapi.dll" (ByRef client As CVekClient)

' cvcs_...
Public Declare PtrSafe Function CVekClient_State Lib "vekapi.dll" (ByRef client As CVekClient) As Long

' True at cvcs_Connected, cvcs_ApReady and cvcs_SgnError.
Public Declare PtrSafe Function CVekClient_IsSessionConnected Lib "vekapi.dll" ( _
    ByRef client As CVekClient) As Byte

' Closes an earlier session and opens a new one; true when it was begun. The outcome comes as callbacks: a
' setting of which nothing can be made calls OnVekConnectEvent in state cvcs_LinkError before the function
' returns. False, with nothing done, when a text but the password is null; a null password is an empty one.
'
' `setting` is "HOST:PORT" for TCP, or ":KIND:PARAMETERS". `apVersion` is four numbers, such as "1.2.3.4".
' `id1` and `id2` are joined by "/" into the user identity; it and the password may have up to 255 bytes.
' Not on two threads at once for one client, nor together with _Disconnect or _Delete.
Public Declare PtrSafe Function CVekClient_Connect Lib "vekapi.dll" (ByRef client As CVekClient, _
    ByVal setting As String, ByVal apName As String, ByVal apVersion As String, _
    ByVal id1 As String, ByVal id2 As String, ByVal password As String) As Byte
Public Declare PtrSafe Function CVekClient_Connect_P Lib "vekapi.dll" Alias "CVekClient_Connect" ( _
    ByRef client As CVekClient, ByVal setting As LongPtr, ByVal apName As LongPtr, _
    ByVal apVersion As LongPtr, ByVal id1 As LongPtr, ByVal id2 As LongPtr, _
    ByVal password As LongPtr) As Byte

' Closes the session and calls OnVekConnectEvent with "Disconnect()" in state cvcs_Disconnected. No callback
' of that session comes afterwards.
Public Declare PtrSafe Sub CVekClient_Disconnect Lib "vekapi.dll" (ByRef client As CVekClient)

' The result that ended the last sign-on; an empty one before that.
'
' Of a client on a message loop: inside its callbacks the one that was the last at that event, lent until the
' callback returns; outside, the last of all, lent until this function or CVekClient_ServerName is called
' again for that client outside its callbacks. Of another client: lent as long as the client lives; the next
' sign-on replaces what is in it, so that it is to be read in callbacks, or while no sign-on can be under
' way.
Public Declare PtrSafe Function CVekClient_SgnResult Lib "vekapi.dll" (ByRef client As CVekClient) As LongPtr

' Name and version of the server, such as "GW.2.0.1.15"; "" while not connected, null for a null handle. The
' text lives until the callback returns inside which it was asked for; else to be read, and lent, as
' CVekClient_SgnResult says.
Public Declare PtrSafe Function CVekClient_ServerName Lib "vekapi.dll" (ByRef client As CVekClient) As LongPtr

' Asks the server to change a password; the answer comes as OnVekChgPassResultEvent. False when not
' connected, when the link took nothing, or when the texts have more than 4091 bytes together. A null `user`
' gives false; null passwords are empty ones. Each text may have up to 255 bytes.
Public Declare PtrSafe Function CVekClient_ChgPass Lib "vekapi.dll" (ByRef client As CVekClient, _
    ByVal user As String, ByVal oldPassword As String, ByVal newPassword As String) As Byte
Public Declare PtrSafe Function CVekClient_ChgPass_P Lib "vekapi.dll" Alias "CVekClient_ChgPass" ( _
    ByRef client As CVekClient, ByVal user As LongPtr, ByVal oldPassword As LongPtr, _
    ByVal newPassword As LongPtr) As Byte

' Scrambles a finished packet of `length` bytes in place, behind its three header bytes, when the session
' asks for it.
Public Declare PtrSafe Sub CVekClient_EncPacket Lib "vekapi.dll" (ByRef client As CVekClient, _
    ByRef packet As Byte, ByVal length As Long)

' Sends a finished packet of `length` bytes, header included; true when the link took it. The buffer is
' scrambled in place.
Public Declare PtrSafe Function CVekClient_SendPk Lib "vekapi.dll" (ByRef client As CVekClient, _
    ByRef packet As Byte, ByVal length As Long) As Byte

' Sends a request. The buffer starts with five free bytes, which the library fills; the text follows.
' `length` counts both, 6 or more. The buffer is consumed. True when the link took all of it, false when none
' of it went. Code 128 is a query, and false too when the rate that the server gave at sign-on is used up:
' nothing was touched then, and the same buffer may be tried again a little later.
Public Declare PtrSafe Function CVekClient_SendVekRequest Lib "vekapi.dll" ( _
    ByRef client As CVekClient, ByVal msgCode As Long, ByRef buffer As Byte, ByVal length As Long) As Byte

' The same with cvmc_TaskResult, telling how long to wait: 0 when it was sent, the milliseconds until the
' rate allows it (nothing was touched), or -1 when it was not sent, and waiting will not help.
Public Declare PtrSafe Function CVekClient_SendVekQueryRequest Lib "vekapi.dll" ( _
    ByRef client As CVekClient, ByRef buffer As Byte, ByVal length As Long) As Long

' A new gate, which belongs to the caller; everything may go until it is configured. The table is copied;
' null counts as one with a null entry.
Public Declare PtrSafe Function CVekFlowCtrl_Create Lib "vekapi.dll" ( _
    ByRef callbacks As CVekFlowCtrlCallbacks, ByVal user As LongPtr) As LongPtr

' As CVekFlowCtrl_Create, for a gate whose callback runs on the calling thread, when that runs its message
' loop (see there), without any lock held. It may do everything: connect, disconnect and delete clients, and
' delete the gate. A null handle when the thread can have no window (or there is no memory).
'
' Openings that come before the callback has run are one. By then another thread may have taken the place: a
' callback that finds the gate closed (CVekFlowCtrl_CheckFlowCtrl) calls CVekFlowCtrl_StartCheckTimer again.
Public Declare PtrSafe Function CVekFlowCtrl_Create_OnMessageLoop Lib "vekapi.dll" ( _
    ByRef callbacks As CVekFlowCtrlCallbacks, ByVal user As LongPtr) As LongPtr

' Waits for a callback that is running on another thread; none comes afterwards. Nobody else may use the gate
' any more, or hold its lock.
Public Declare PtrSafe Sub CVekFlowCtrl_Delete Lib "vekapi.dll" (ByRef gate As CVekFlowCtrl)

Public Declare PtrSafe Function CVekFlowCtrl_IsFlowCfg Lib "vekapi.dll" (ByRef gate As CVekFlowCtrl) As Byte

' Switches pacing off and forgets what was sent. A gate that waits calls OnVekFlowCtrlFree soon.
Public Declare PtrSafe Sub CVekFlowCtrl_Clear Lib "vekapi.dll" (ByRef gate As CVekFlowCtrl)

' Forgets what was sent and allows `count` requests within any `ms` milliseconds; with either below 1 the
' same as CVekFlowCtrl_Clear. To be called again when a new session is ready: what was sent over a link that
' has ended is never acknowledged and would keep its places.
Public Declare PtrSafe Sub CVekFlowCtrl_SetFlowCtrl Lib "vekapi.dll" (ByRef gate As CVekFlowCtrl, _
    ByVal count As Long, ByVal ms As Long)

' `n` requests were acknowledged. May call OnVekFlowCtrlFree.
Public Declare PtrSafe Sub CVekFlowCtrl_SetAckTime Lib "vekapi.dll" (ByRef gate As CVekFlowCtrl, _
    ByVal n As Long)

' 0: one request may go now, and is counted as sent (a null handle answers 0, too). Positive: not now; it may
' be asked again after so many milliseconds. Negative: not before an acknowledgement.
Public Declare PtrSafe Function CVekFlowCtrl_CheckFlowCtrl Lib "vekapi.dll" ( _
    ByRef gate As CVekFlowCtrl) As Long

' Lets the calling thread sleep for so many milliseconds; for one when `ms` is above 0x7FFFFFFF, as a
' negative answer of CVekFlowCtrl_CheckFlowCtrl is.
Public Declare PtrSafe Sub CVekFlowCtrl_Sleep Lib "vekapi.dll" (ByVal ms As Long)

' Calls OnVekFlowCtrlFree when a request may go: at once, or later. Nothing when not configured.
Public Declare PtrSafe Sub CVekFlowCtrl_StartCheckTimer Lib "vekapi.dll" (ByRef gate As CVekFlowCtrl)

' The gate's user lock. The thread that holds it may take it again, and gives it back as often. It must not
' connect, disconnect or delete a client meanwhile.
Public Declare PtrSafe Sub CVekFlowCtrl_Lock Lib "vekapi.dll" (ByRef gate As CVekFlowCtrl)

' The gate's user lock. The thread that holds it may take it again, and gives it back as often. It must not
' connect, disconnect or delete a client meanwhile.
Public Declare PtrSafe Sub CVekFlowCtrl_Unlock Lib "vekapi.dll" (ByRef gate As CVekFlowCtrl)

' A new sender, which belongs to the caller. It may outlive the client: everything is refused then. Not
' configured: everything goes at once.
Public Declare PtrSafe Function CVekFlowCtrlSender_Create Lib "vekapi.dll" ( _
    ByRef client As CVekClient) As LongPtr

' As CVekFlowCtrlSender_Create, with a callback on the calling thread, when that runs its message loop. What
' the sender holds goes when the rate allows it, as with every sender, whether the thread runs its loop or
' not. A null handle when the thread can have no window (or there is no memory).
Public Declare PtrSafe Function CVekFlowCtrlSender_Create_OnMessageLoop Lib "vekapi.dll" ( _
    ByRef client As CVekClient, ByRef callbacks As CVekFlowCtrlSenderCallbacks, _
    ByVal user As LongPtr) As LongPtr

' Drops what is held without sending it; otherwise as CVekFlowCtrl_Delete.
Public Declare PtrSafe Sub CVekFlowCtrlSender_Delete Lib "vekapi.dll" ( _
    ByRef sender As CVekFlowCtrlSender)

' As CVekFlowCtrl_SetFlowCtrl.
Public Declare PtrSafe Sub CVekFlowCtrlSender_SetFlowCtrl Lib "vekapi.dll" ( _
    ByRef sender As CVekFlowCtrlSender, ByVal count As Long, ByVal ms As Long)

' 1 when configured, else 0. An int, unlike CVekFlowCtrl_IsFlowCfg.
Public Declare PtrSafe Function CVekFlowCtrlSender_IsFlowCfg Lib "vekapi.dll" ( _
    ByRef sender As CVekFlowCtrlSender) As Long

' Requests held.
Public Declare PtrSafe Function CVekFlowCtrlSender_PendingCount Lib "vekapi.dll" ( _
    ByRef sender As CVekFlowCtrlSender) As Long

' Sends what is held and may go now, and sees to the rest later.
Public Declare PtrSafe Sub CVekFlowCtrlSender_CheckPending Lib "vekapi.dll" ( _
    ByRef sender As CVekFlowCtrlSender)

' Drops what is held; returns how many requests that were. None of them has been sent, or will be.
Public Declare PtrSafe Function CVekFlowCtrlSender_DropPending Lib "vekapi.dll" ( _
    ByRef sender As CVekFlowCtrlSender) As Long

' Takes the oldest request that is held out of the sender, unsent: copies its text into `buffer`, which has
' room for `size` bytes, without a NUL behind it. Returns the length of the text, 0 when nothing is held. A
' text that is longer than `size` stays where it is, and nothing is copied.
Public Declare PtrSafe Function CVekFlowCtrlSender_TakePending Lib "vekapi.dll" ( _
    ByRef sender As CVekFlowCtrlSender, ByRef buffer As Byte, ByVal size As Long) As Long

' Requests that the link refused, since the sender was created: they were not sent, and are not held. There
' was no session, its send queue was full, or there was no memory.
Public Declare PtrSafe Function CVekFlowCtrlSender_RefusedCount Lib "vekapi.dll" ( _
    ByRef sender As CVekFlowCtrlSender) As Long

' To be called with what OnVekRequestAckEvent brought: counts the acknowledged requests of code 129, may send
' held ones. Other codes and a null text are ignored.
Public Declare PtrSafe Sub CVekFlowCtrlSender_AckParser Lib "vekapi.dll" ( _
    ByRef sender As CVekFlowCtrlSender, ByVal code As Long, ByVal text As String)
Public Declare PtrSafe Sub CVekFlowCtrlSender_AckParser_P Lib "vekapi.dll" Alias "CVekFlowCtrlSender_AckParser" ( _
    ByRef sender As CVekFlowCtrlSender, ByVal code As Long, ByVal text As LongPtr)

' `n` requests were acknowledged; may send held ones. The second argument is not used.
Public Declare PtrSafe Sub CVekFlowCtrlSender_SetAckTime Lib "vekapi.dll" ( _
    ByRef sender As CVekFlowCtrlSender, ByVal ignored As Long, ByVal n As Long)

' One request: the buffer starts with five free bytes, its text follows, `length` counts both. The buffer is
' consumed. True when it was sent, or nothing is held after the call; false when it is held, or `length` is
' below 6 (it is dropped then).
Public Declare PtrSafe Function CVekFlowCtrlSender_SendVekRequest Lib "vekapi.dll" ( _
    ByRef sender As CVekFlowCtrlSender, ByRef buffer As Byte, ByVal length As Long) As Byte

' Several requests, pairs of lines with line feeds between them, behind five free bytes; a last line without
' its partner is dropped. Returns how many were sent now; the others are held. The buffer is consumed.
Public Declare PtrSafe Function CVekFlowCtrlSender_SendVekRequests Lib "vekapi.dll" ( _
    ByRef sender As CVekFlowCtrlSender, ByRef buffer As Byte, ByVal length As Long) As Long

' As CVekClient_Create, for a client whose callbacks run on the calling thread, when that thread runs its
' message loop. A null handle when the thread can have no window (or there is no memory).
'
' The loop. On Windows it is any loop of GetMessage and DispatchMessage, also a modal one (message box, menu,
' dragging). On every system CVekMessageLoop_Dispatch may take its place.
'
' Order. Callbacks come one after the other in the order of the wire. They come later than the event, and
' events from before a CVekClient_Connect or CVekClient_Disconnect, and those of these calls themselves, are
' still called when the call has returned. But inside a callback, on its thread, CVekClient_State,
' _IsSessionConnected, _SgnResult and _ServerName answer what was true at its event, whatever has happened
' since; outside callbacks, and on other threads, what is true now.
'
' Turns. One message brings a part of what waits, 10 ms' worth or a thousand events; the rest comes when
' everything else of the thread has had its turn: other clients, input, painting, timers.
'
' Waiting. A task result or password result is lent, so the session waits until its callback has returned:
' nothing else of that session arrives meanwhile. The thread answers these two, and with them what was queued
' before them, also while it waits inside a function of this library; so callbacks may come inside any call
' that connects, disconnects or deletes. The thread must not wait for the session by other means.
'
' Inside a callback the thread may do everything: connect, disconnect, delete, run a loop of its own (a
' message box). Other callbacks may or may not come inside that loop, which must not wait for them. After a
' deletion nothing is called any more but OnVekClientDestroyEvent, which CVekClient_Delete calls itself,
' before it returns, on its own thread; what was queued is dropped.
'
' CVekClient_Delete belongs on the creating thread. Another thread may call it outside callbacks; it then
' waits for the creating one to run its loop, or to end. A client whose thread has ended gets no callbacks
' but the last, and nothing is kept for it; it must still be deleted.
Public Declare PtrSafe Function CVekClient_Create_OnMessageLoop Lib "vekapi.dll" ( _
    ByRef callbacks As CVekClientCallbacks, ByVal user As LongPtr) As LongPtr

' Runs what waits for the calling thread, a thousand messages at most and not what comes meanwhile, and
' returns how many it ran. Waits up to `timeoutMs` milliseconds when there is nothing (0: does not wait;
' negative: waits for ever), and answers 0 when nothing came. Negative on error; on Windows also when the
' thread has been told to quit (WM_QUIT, which stays in the queue). On Windows it serves all the thread's
' windows. Inside a callback, too.
Public Declare PtrSafe Function CVekMessageLoop_Dispatch Lib "vekapi.dll" (ByVal timeoutMs As Long) As Long

' For event loops that watch descriptors (poll, epoll, GLib, Qt, asyncio): one that polls readable while
' something waits for the calling thread; call CVekMessageLoop_Dispatch(0) then. It belongs to the library
' and lives as long as the thread: not to be read or closed. -1 on Windows, where the thread's message loop
' serves everything, and on error.
Public Declare PtrSafe Function CVekMessageLoop_Fd Lib "vekapi.dll" () As Long
