Attribute VB_Name = "VekText"
Option Explicit

' Converts texts between VBA (UTF-16) and the library (code page 950), on systems with any code page, and wraps the
' calls that take passwords or other non-ASCII texts. The declarations of VekApi.bas with ByVal String are for ASCII:
' VBA converts their texts to the system's code page.

Private Const Big5 As Long = 950
Private Const Utf8 As Long = 65001

Private Declare PtrSafe Function MultiByteToWideChar Lib "kernel32" (ByVal page As Long, ByVal flags As Long, _
    ByVal bytes As LongPtr, ByVal count As Long, ByVal text As LongPtr, ByVal size As Long) As Long
Private Declare PtrSafe Function WideCharToMultiByte Lib "kernel32" (ByVal page As Long, ByVal flags As Long, _
    ByVal text As LongPtr, ByVal count As Long, ByVal bytes As LongPtr, ByVal size As Long, _
    ByVal other As LongPtr, ByVal used As LongPtr) As Long
Private Declare PtrSafe Function lstrlenA Lib "kernel32" (ByVal text As LongPtr) As Long
Private Declare PtrSafe Sub CopyMemory Lib "kernel32" Alias "RtlMoveMemory" (ByRef target As LongPtr, _
    ByVal source As LongPtr, ByVal count As LongPtr)

' The text at an address; "" for a null address.
Public Function VekGet(ByVal address As LongPtr) As String
    If address <> 0 Then VekGet = VekGetBytes(address, lstrlenA(address))
End Function

' So many bytes at an address, which may have NULs inside.
Public Function VekGetBytes(ByVal address As LongPtr, ByVal length As Long) As String
    VekGetBytes = Converted(Big5, address, length)
End Function

' The library's own words are UTF-8: those of CVekApi_Text and CVekApi_Describe.
Public Function VekGetWords(ByVal address As LongPtr) As String
    If address <> 0 Then VekGetWords = Converted(Utf8, address, lstrlenA(address))
End Function

Private Function Converted(ByVal page As Long, ByVal address As LongPtr, ByVal length As Long) As String
    Dim size As Long
    If length = 0 Then Exit Function
    size = MultiByteToWideChar(page, 0, address, length, 0, 0)
    Converted = String$(size, vbNullChar)
    MultiByteToWideChar page, 0, address, length, StrPtr(Converted), size
End Function

' The bytes of a text after `free` reserved bytes, with a terminating NUL. VarPtr(bytes(0)) is their address.
Public Function VekPut(ByVal text As String, Optional ByVal free As Long = 0) As Byte()
    Dim size As Long, bytes() As Byte
    If Len(text) > 0 Then size = WideCharToMultiByte(Big5, 0, StrPtr(text), Len(text), 0, 0, 0, 0)
    ReDim bytes(0 To free + size)
    If size > 0 Then WideCharToMultiByte Big5, 0, StrPtr(text), Len(text), VarPtr(bytes(free)), size, 0, 0
    VekPut = bytes
End Function

' The handle at the address passed to a callback.
Public Function VekHandleAt(ByVal address As LongPtr) As LongPtr
    CopyMemory VekHandleAt, address, LenB(VekHandleAt)
End Function

' The value for an entry of a callback table: VekEntry(AddressOf OnConnect).
Public Function VekEntry(ByVal address As LongPtr) As LongPtr
    VekEntry = address
End Function

Public Function VekConnect(ByRef client As CVekClient, ByVal setting As String, ByVal apName As String, _
    ByVal apVersion As String, ByVal id1 As String, ByVal id2 As String, ByVal password As String) As Boolean
    Dim a() As Byte, b() As Byte, c() As Byte, d() As Byte, e() As Byte, p() As Byte
    a = VekPut(setting): b = VekPut(apName): c = VekPut(apVersion): d = VekPut(id1): e = VekPut(id2)
    p = VekPut(password)
    VekConnect = CVekClient_Connect_P(client, VarPtr(a(0)), VarPtr(b(0)), VarPtr(c(0)), VarPtr(d(0)), _
        VarPtr(e(0)), VarPtr(p(0))) <> 0
    VekWipe p
End Function

Public Function VekChgPass(ByRef client As CVekClient, ByVal user As String, ByVal oldPassword As String, _
    ByVal newPassword As String) As Boolean
    Dim u() As Byte, o() As Byte, n() As Byte
    u = VekPut(user): o = VekPut(oldPassword): n = VekPut(newPassword)
    VekChgPass = CVekClient_ChgPass_P(client, VarPtr(u(0)), VarPtr(o(0)), VarPtr(n(0))) <> 0
    VekWipe o
    VekWipe n
End Function

' Sends a request. For cvmc_TaskResult, a query, False also if the query rate is used up.
Public Function VekSend(ByRef client As CVekClient, ByVal msgCode As Long, ByVal text As String) As Boolean
    Dim buffer() As Byte
    buffer = VekPut(text, 5)
    VekSend = CVekClient_SendVekRequest(client, msgCode, buffer(0), UBound(buffer)) <> 0
End Function

' Sends one paced request of two lines; False if it is held.
Public Function VekSendPaced(ByRef sender As CVekFlowCtrlSender, ByVal text As String) As Boolean
    Dim buffer() As Byte
    buffer = VekPut(text, 5)
    VekSendPaced = CVekFlowCtrlSender_SendVekRequest(sender, buffer(0), UBound(buffer)) <> 0
End Function

' For passwords.
Public Sub VekWipe(ByRef bytes() As Byte)
    Dim i As Long
    For i = LBound(bytes) To UBound(bytes)
        bytes(i) = 0
    Next
End Sub
