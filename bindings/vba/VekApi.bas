Attribute VB_Name = "VekApi"
Option Explicit

' The flat functions of VekApi for 64-bit VBA 7 (Office 2010 and later). Put vekapi.dll where Windows finds it, or
' load it first with LoadLibrary. What the functions do is told in VekApiC.h.
'
' Threads. VBA code must run on the thread of its own window, but the callbacks of CVekClient_Create come on threads
' of the library: make clients with CVekClient_Create_OnMessageLoop, whose callbacks come through the window's
' messages, and give entries with AddressOf, functions of a standard module. They come while the host waits for the
' user; a macro that runs for long lets them in with DoEvents or CVekMessageLoop_Dispatch.
'
' Handles. A handle is a type of one pointer, passed by reference. Functions that return one return its pointer:
'     client.Object = CVekClient_Create(callbacks, 0)
'     Dim table As CVekTable: table.Object = CVekTaskResult_NameTable(result, "products")
'     count = CVekTable_RecordsCount(table)
'
' Texts. Functions ending in _B return a String: VBA takes the bytes over, decodes them with the system's code page
' (950 on Traditional Chinese systems, which is that of the server) and frees them. On systems with another code page
' use the function without _B, which returns the address of the bytes, and MultiByteToWideChar with code page 950.
' Texts handed in ByVal As String are encoded in the same way; vbNullString is a null text.
'
' Results. bool comes As Byte, 0 or 1: a Boolean has two bytes in VBA, of which only one would be set.
'
' Requests. The buffer is a Byte array, passed by its first element: five free bytes, then the text; the length counts
' both. The library consumes it.
'
' Callbacks, all Sub, with these arguments (the addresses behind `client` and `result` are valid until the Sub ends;
' copy them with CopyMemory into a CVekClient or CVekTaskResult, LenB bytes):
'     OnVekUnknownMsgCodeEvent ByVal client As LongPtr, ByVal user As LongPtr, ByVal msgCode As Long,
'                              ByVal packet As LongPtr, ByVal length As Long
'     OnVekConnectEvent        ByVal client As LongPtr, ByVal user As LongPtr, ByVal reason As LongPtr
'     OnVekApReadyEvent        ByVal client As LongPtr, ByVal user As LongPtr
'     OnVekTaskResultEvent     ByVal client As LongPtr, ByVal user As LongPtr, ByVal result As LongPtr
'     OnVekChgPassResultEvent  ByVal client As LongPtr, ByVal user As LongPtr, ByVal userId As LongPtr,
'                              ByVal resultText As LongPtr
'     OnVekRequestAckEvent     ByVal client As LongPtr, ByVal user As LongPtr, ByVal msgCode As Long,
'                              ByVal ackText As LongPtr
'     OnVekReportEvent         ByVal client As LongPtr, ByVal user As LongPtr, ByVal reportText As LongPtr
'     OnVekClientDestroyEvent  ByVal client As LongPtr, ByVal user As LongPtr
' Texts come as addresses: CstrToBSTR(reason) makes a String of one. Stopping the project in the editor while a client
' lives leaves callbacks that are gone: delete the client first.

Public Enum CVekState
    cvcs_HeartbeatTimeout = -7
    cvcs_ConnectError = -6
    cvcs_SgnError = -5
    cvcs_UnknownServer = -4
    cvcs_LinkBroken = -3
    cvcs_LinkError = -2
    cvcs_Disconnected = -1
    cvcs_None = 0
    cvcs_Connecting = 1
    cvcs_Connected = 2
    cvcs_ApReady = 3
End Enum

Public Enum CVekAccMkt
    cvam_None = 0
    cvam_Stock = 1
    cvam_Futures = 2
    cvam_ForeignFutures = 3
    cvam_ForeignStock = 4
End Enum

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

Public Declare PtrSafe Function CVekApi_Version Lib "vekapi.dll" () As LongPtr
Public Declare PtrSafe Sub CVekApi_FreeBSTR Lib "vekapi.dll" (ByVal text As LongPtr)

Public Declare PtrSafe Function CstrToBSTR Lib "vekapi.dll" (ByVal text As LongPtr) As String

Public Declare PtrSafe Function CVekProperties_Get Lib "vekapi.dll" ( _
    ByRef properties As CVekProperties, ByVal key As String) As LongPtr
Public Declare PtrSafe Function CVekProperties_Get_B Lib "vekapi.dll" ( _
    ByRef properties As CVekProperties, ByVal key As String) As String
Public Declare PtrSafe Function CVekProperties_Name Lib "vekapi.dll" ( _
    ByRef properties As CVekProperties) As LongPtr
Public Declare PtrSafe Function CVekProperties_Name_B Lib "vekapi.dll" ( _
    ByRef properties As CVekProperties) As String
Public Declare PtrSafe Function CVekProperties_DisplayText Lib "vekapi.dll" ( _
    ByRef properties As CVekProperties) As LongPtr
Public Declare PtrSafe Function CVekProperties_DisplayText_B Lib "vekapi.dll" ( _
    ByRef properties As CVekProperties) As String
Public Declare PtrSafe Function CVekProperties_Description Lib "vekapi.dll" ( _
    ByRef properties As CVekProperties) As LongPtr
Public Declare PtrSafe Function CVekProperties_Description_B Lib "vekapi.dll" ( _
    ByRef properties As CVekProperties) As String
Public Declare PtrSafe Function CVekProperties_ToString Lib "vekapi.dll" ( _
    ByRef properties As CVekProperties) As LongPtr
Public Declare PtrSafe Function CVekProperties_ToString_B Lib "vekapi.dll" ( _
    ByRef properties As CVekProperties) As String

Public Declare PtrSafe Function CVekField_Properties Lib "vekapi.dll" ( _
    ByRef field As CVekField) As LongPtr
Public Declare PtrSafe Function CVekField_Index Lib "vekapi.dll" (ByRef field As CVekField) As Long

Public Declare PtrSafe Function CVekFields_NameField Lib "vekapi.dll" ( _
    ByRef fields As CVekFields, ByVal name As String) As LongPtr
Public Declare PtrSafe Function CVekFields_IndexField Lib "vekapi.dll" ( _
    ByRef fields As CVekFields, ByVal index As Long) As LongPtr
Public Declare PtrSafe Function CVekFields_Count Lib "vekapi.dll" ( _
    ByRef fields As CVekFields) As Long

Public Declare PtrSafe Function CVekTable_Properties Lib "vekapi.dll" ( _
    ByRef table As CVekTable) As LongPtr
Public Declare PtrSafe Function CVekTable_Fields Lib "vekapi.dll" ( _
    ByRef table As CVekTable) As LongPtr
Public Declare PtrSafe Function CVekTable_RecordsCount Lib "vekapi.dll" ( _
    ByRef table As CVekTable) As Long
Public Declare PtrSafe Function CVekTable_RecordIndexField Lib "vekapi.dll" ( _
    ByRef table As CVekTable, ByVal row As Long, ByVal col As Long) As LongPtr
Public Declare PtrSafe Function CVekTable_RecordIndexField_B Lib "vekapi.dll" ( _
    ByRef table As CVekTable, ByVal row As Long, ByVal col As Long) As String
Public Declare PtrSafe Function CVekTable_RecordField Lib "vekapi.dll" ( _
    ByRef table As CVekTable, ByVal row As Long, ByRef field As CVekField) As LongPtr
Public Declare PtrSafe Function CVekTable_RecordField_B Lib "vekapi.dll" ( _
    ByRef table As CVekTable, ByVal row As Long, ByRef field As CVekField) As String
Public Declare PtrSafe Function CVekTable_MktFlag Lib "vekapi.dll" ( _
    ByRef table As CVekTable) As Long

Public Declare PtrSafe Function CVekTaskResult_WorkID Lib "vekapi.dll" ( _
    ByRef result As CVekTaskResult) As LongPtr
Public Declare PtrSafe Function CVekTaskResult_WorkID_B Lib "vekapi.dll" ( _
    ByRef result As CVekTaskResult) As String
Public Declare PtrSafe Function CVekTaskResult_OrigResult Lib "vekapi.dll" ( _
    ByRef result As CVekTaskResult) As LongPtr
Public Declare PtrSafe Function CVekTaskResult_OrigResult_B Lib "vekapi.dll" ( _
    ByRef result As CVekTaskResult) As String
Public Declare PtrSafe Function CVekTaskResult_NameTable Lib "vekapi.dll" ( _
    ByRef result As CVekTaskResult, ByVal name As String) As LongPtr
Public Declare PtrSafe Function CVekTaskResult_IndexTable Lib "vekapi.dll" ( _
    ByRef result As CVekTaskResult, ByVal index As Long) As LongPtr
Public Declare PtrSafe Function CVekTaskResult_TableCount Lib "vekapi.dll" ( _
    ByRef result As CVekTaskResult) As Long

Public Declare PtrSafe Function CVekClient_Create Lib "vekapi.dll" ( _
    ByRef callbacks As CVekClientCallbacks, ByVal user As LongPtr) As LongPtr
Public Declare PtrSafe Function CVekClient_Create_OnMessageLoop Lib "vekapi.dll" ( _
    ByRef callbacks As CVekClientCallbacks, ByVal user As LongPtr) As LongPtr
Public Declare PtrSafe Sub CVekClient_Delete Lib "vekapi.dll" (ByRef client As CVekClient)
Public Declare PtrSafe Function CVekClient_State Lib "vekapi.dll" ( _
    ByRef client As CVekClient) As Long
Public Declare PtrSafe Function CVekClient_IsSessionConnected Lib "vekapi.dll" ( _
    ByRef client As CVekClient) As Byte
Public Declare PtrSafe Function CVekClient_Connect Lib "vekapi.dll" ( _
    ByRef client As CVekClient, ByVal setting As String, ByVal apName As String, _
    ByVal apVersion As String, ByVal id1 As String, ByVal id2 As String, _
    ByVal password As String) As Byte
Public Declare PtrSafe Sub CVekClient_Disconnect Lib "vekapi.dll" (ByRef client As CVekClient)
Public Declare PtrSafe Function CVekClient_SgnResult Lib "vekapi.dll" ( _
    ByRef client As CVekClient) As LongPtr
Public Declare PtrSafe Function CVekClient_ChgPass Lib "vekapi.dll" ( _
    ByRef client As CVekClient, ByVal user As String, ByVal oldPassword As String, _
    ByVal newPassword As String) As Byte
Public Declare PtrSafe Sub CVekClient_EncPacket Lib "vekapi.dll" ( _
    ByRef client As CVekClient, ByRef packet As Byte, ByVal length As Long)
Public Declare PtrSafe Function CVekClient_SendPk Lib "vekapi.dll" ( _
    ByRef client As CVekClient, ByRef packet As Byte, ByVal length As Long) As Byte
Public Declare PtrSafe Function CVekClient_SendVekRequest Lib "vekapi.dll" ( _
    ByRef client As CVekClient, ByVal msgCode As Long, ByRef buffer As Byte, _
    ByVal length As Long) As Byte

Public Declare PtrSafe Function CVekFlowCtrl_Create Lib "vekapi.dll" ( _
    ByRef callbacks As CVekFlowCtrlCallbacks, ByVal user As LongPtr) As LongPtr
Public Declare PtrSafe Sub CVekFlowCtrl_Delete Lib "vekapi.dll" (ByRef gate As CVekFlowCtrl)
Public Declare PtrSafe Function CVekFlowCtrl_IsFlowCfg Lib "vekapi.dll" ( _
    ByRef gate As CVekFlowCtrl) As Byte
Public Declare PtrSafe Sub CVekFlowCtrl_Clear Lib "vekapi.dll" (ByRef gate As CVekFlowCtrl)
Public Declare PtrSafe Sub CVekFlowCtrl_SetFlowCtrl Lib "vekapi.dll" ( _
    ByRef gate As CVekFlowCtrl, ByVal count As Long, ByVal ms As Long)
Public Declare PtrSafe Sub CVekFlowCtrl_SetAckTime Lib "vekapi.dll" ( _
    ByRef gate As CVekFlowCtrl, ByVal n As Long)
Public Declare PtrSafe Function CVekFlowCtrl_CheckFlowCtrl Lib "vekapi.dll" ( _
    ByRef gate As CVekFlowCtrl) As Long
Public Declare PtrSafe Sub CVekFlowCtrl_Sleep Lib "vekapi.dll" (ByVal ms As Long)
Public Declare PtrSafe Sub CVekFlowCtrl_StartCheckTimer Lib "vekapi.dll" ( _
    ByRef gate As CVekFlowCtrl)
Public Declare PtrSafe Sub CVekFlowCtrl_Lock Lib "vekapi.dll" (ByRef gate As CVekFlowCtrl)
Public Declare PtrSafe Sub CVekFlowCtrl_Unlock Lib "vekapi.dll" (ByRef gate As CVekFlowCtrl)

Public Declare PtrSafe Function CVekFlowCtrlSender_Create Lib "vekapi.dll" ( _
    ByRef client As CVekClient) As LongPtr
Public Declare PtrSafe Sub CVekFlowCtrlSender_Delete Lib "vekapi.dll" ( _
    ByRef sender As CVekFlowCtrlSender)
Public Declare PtrSafe Sub CVekFlowCtrlSender_SetFlowCtrl Lib "vekapi.dll" ( _
    ByRef sender As CVekFlowCtrlSender, ByVal count As Long, ByVal ms As Long)
Public Declare PtrSafe Function CVekFlowCtrlSender_IsFlowCfg Lib "vekapi.dll" ( _
    ByRef sender As CVekFlowCtrlSender) As Long
Public Declare PtrSafe Function CVekFlowCtrlSender_PendingCount Lib "vekapi.dll" ( _
    ByRef sender As CVekFlowCtrlSender) As Long
Public Declare PtrSafe Sub CVekFlowCtrlSender_AckParser Lib "vekapi.dll" ( _
    ByRef sender As CVekFlowCtrlSender, ByVal code As Long, ByVal text As String)
Public Declare PtrSafe Sub CVekFlowCtrlSender_SetAckTime Lib "vekapi.dll" ( _
    ByRef sender As CVekFlowCtrlSender, ByVal ignored As Long, ByVal n As Long)
Public Declare PtrSafe Function CVekFlowCtrlSender_SendVekRequest Lib "vekapi.dll" ( _
    ByRef sender As CVekFlowCtrlSender, ByRef buffer As Byte, ByVal length As Long) As Byte
Public Declare PtrSafe Function CVekFlowCtrlSender_SendVekRequests Lib "vekapi.dll" ( _
    ByRef sender As CVekFlowCtrlSender, ByRef buffer As Byte, ByVal length As Long) As Long

Public Declare PtrSafe Function CVekMessageLoop_Dispatch Lib "vekapi.dll" (ByVal timeoutMs As Long) As Long
Public Declare PtrSafe Function CVekMessageLoop_Fd Lib "vekapi.dll" () As Long
