Attribute VB_Name = "VekSessions"
Option Explicit

' Sessions for VBA: they reconnect by themselves and tell exactly one fate of every request. Their events are taken with
' VekNext; nothing is called back. The results of these functions are 0 or a reason, vsr_... (VekWords).

' A session that sends `count` requests of code 129 within `ms` milliseconds at most; 0: no limit.
Public Function VekCreateSession(ByRef session As CVekSession, ByVal user As String, ByVal count As Long, _
    ByVal ms As Long) As Long
    Dim config As CVekSessionConfig, id1() As Byte, reason As Long
    CVekSession_Defaults config, LenB(config)
    id1 = VekPut(user)
    config.id1 = VarPtr(id1(0))
    config.delivery = vsd_Poll
    config.rateCount = count
    config.rateMs = ms
    session.Object = CVekSession_Create(config, reason)
    VekCreateSession = reason
End Function

' Starts to connect; the state's events tell the rest.
Public Function VekOpenSession(ByRef session As CVekSession, ByVal password As String) As Long
    Dim p() As Byte
    p = VekPut(password)
    VekOpenSession = CVekSession_SetPassword_P(session, VarPtr(p(0)))
    VekWipe p
    If VekOpenSession = 0 Then VekOpenSession = CVekSession_Open(session)
End Function

' A request of code cvmc_TaskResult (a query) or cvmc_RequestAck (two lines); `workId` is put in front of it, or one that
' is made for it. With vsm_Try it is refused if it may not go at once, as vsr_TooFast.
Public Function VekSubmit(ByRef session As CVekSession, ByVal code As Long, ByVal text As String, _
    ByRef receipt As CVekReceipt, Optional ByVal workId As String = "", Optional ByVal mode As Long = vsm_Hold) As Long
    Dim request As CVekSubmit, bytes() As Byte, id() As Byte
    id = VekPut(workId)
    If workId <> "" Then text = workId & " " & text
    bytes = VekPut(text)
    If workId <> "" Then request.workId = VarPtr(id(0))
    request.size = LenB(request)
    request.code = code
    request.mode = mode
    request.text = VarPtr(bytes(0))
    request.textLength = UBound(bytes)
    receipt.size = LenB(receipt)
    VekSubmit = CVekSession_Submit(session, request, receipt)
End Function

' A work id that the session has not given before, to be stored before the request is submitted.
Public Function VekNewWorkId(ByRef session As CVekSession) As String
    Dim id(0 To 31) As Byte
    CVekSession_NewWorkId session, id(0)
    VekNewWorkId = VekGet(VarPtr(id(0)))
End Function

Public Function VekWorkIdOf(ByRef receipt As CVekReceipt) As String
    VekWorkIdOf = VekGet(VarPtr(receipt.workId(0)))
End Function

' Takes the next event; False if there is none. What it lends (texts, result) is valid until the next call.
Public Function VekNext(ByRef session As CVekSession, ByRef told As CVekEvent) As Boolean
    told.size = LenB(told)
    VekNext = CVekSession_Next(session, 0, told) = 1
End Function

' The server's text of an event.
Public Function VekTextOf(ByRef told As CVekEvent) As String
    VekTextOf = VekGetBytes(told.text, told.textLength)
End Function

' One line for a log.
Public Function VekDescribe(ByRef told As CVekEvent) As String
    Dim line(0 To 511) As Byte
    CVekApi_Describe told, line(0), 512
    VekDescribe = VekGetWords(VarPtr(line(0)))
End Function

' Words for a number: vst_State, vst_Fate or vst_Reason.
Public Function VekWords(ByVal what As Long, ByVal value As Long) As String
    VekWords = VekGetWords(CVekApi_Text(what, value, 0))
End Function

' The server never received a request with this fate.
Public Function VekSafeToRepeat(ByVal fate As Long) As Boolean
    VekSafeToRepeat = (fate = vsf_Refused) Or (fate = vsf_NeverSent)
End Function

' Ends the session. The fates of what is held or out come as events still: take them, then VekDeleteSession.
Public Sub VekCloseSession(ByRef session As CVekSession)
    CVekSession_Close session, 0
End Sub

Public Sub VekDeleteSession(ByRef session As CVekSession)
    CVekSession_Delete session
End Sub
