Attribute VB_Name = "VekOrders"
Option Explicit

' Orders in a spreadsheet, each row with its fate: StartOrders signs on, SendOrder sends the order of the selected row,
' StopOrders ends the session. docs/vba.md explains the setup.
'
' Once a second TakeEvents takes what has arrived. Excel runs it on its own thread, and not while a cell is edited.

Private Const StateCell As String = "B3", FirstRow As Long = 6
Private Const LastUsed As Long = -4162  ' xlUp
Private Const TextColumn As Long = 1, IdColumn As Long = 2, FateColumn As Long = 3, AnswerColumn As Long = 4

Private Declare PtrSafe Function LoadLibraryW Lib "kernel32" (ByVal path As LongPtr) As LongPtr

Private session As CVekSession
Private nextTime As Date

Public Sub StartOrders()
    Dim reason As Long
    StopOrders
    If LoadLibraryW(StrPtr(ThisWorkbook.Path & "\vekapi.dll")) = 0 Then MsgBox "vekapi.dll is not there": Exit Sub
    reason = VekCreateSession(session, Sheet().Range("B2").Value, 5, 200)
    If reason = 0 Then reason = CVekSession_AddEndpoint(session, Sheet().Range("B1").Value)
    If reason = 0 Then reason = CVekSession_AddResync(session, "orders")
    If reason = 0 Then reason = VekOpenSession(session, InputBox("Password"))
    If reason <> 0 Then MsgBox VekWords(vst_Reason, reason): StopOrders: Exit Sub
    TakeEvents
End Sub

' Also call it from Workbook_BeforeClose, and before the code is changed or reset.
Public Sub StopOrders()
    If session.Object = 0 Then Exit Sub
    VekCloseSession session
    On Error Resume Next
    Application.OnTime nextTime, "TakeEvents", , False
    ShowEvents
    VekDeleteSession session
End Sub

' Sends the order of the selected row, such as "prod=TXF side=B qty=1 price=MKT". Id and fate are in the row before the
' order is submitted: whatever happens next, it is not sent twice.
Public Sub SendOrder()
    Dim receipt As CVekReceipt, row As Long, reason As Long, id As String
    row = ActiveCell.Row
    If row < FirstRow Or session.Object = 0 Then Exit Sub
    If Not MaySend(Sheet().Cells(row, FateColumn).Value) Then MsgBox "Ask the server about this order": Exit Sub
    id = VekNewWorkId(session)
    Sheet().Cells(row, IdColumn).Value = id
    ShowFate row, vsf_None, ""
    reason = VekSubmit(session, cvmc_RequestAck, "new" & vbLf & Sheet().Cells(row, TextColumn).Value, receipt, id)
    If reason <> 0 Then ShowFate row, vsf_Refused, VekWords(vst_Reason, reason)
End Sub

' Only requests that the server never received are sent again.
Private Function MaySend(ByVal fate As String) As Boolean
    MaySend = fate = "" Or fate = VekWords(vst_Fate, vsf_Refused) Or fate = VekWords(vst_Fate, vsf_NeverSent)
End Function

Public Sub TakeEvents()
    If session.Object = 0 Then Exit Sub
    nextTime = Now + TimeSerial(0, 0, 1)
    Application.OnTime nextTime, "TakeEvents"
    ShowEvents
End Sub

Private Sub ShowEvents()
    Dim told As CVekEvent
    Do While VekNext(session, told)
        ShowEvent told
    Loop
End Sub

Private Sub ShowEvent(ByRef told As CVekEvent)
    Dim row As Long
    If told.kind = vse_State Then Sheet().Range(StateCell).Value = VekDescribe(told)
    If told.kind = vse_Report Then Sheet().Range("D3").Value = VekTextOf(told)
    If told.kind <> vse_Fate And told.kind <> vse_Late Then Exit Sub
    row = RowOf(VekGet(told.workId))
    If row > 0 Then ShowFate row, told.fate, VekWords(vst_Reason, told.reason) & " " & VekTextOf(told)
    If told.result.Object <> 0 Then ShowCount told.result
End Sub

' 0: none, as for a query.
Private Function RowOf(ByVal id As String) As Long
    Dim row As Long
    For row = FirstRow To Sheet().Cells(Sheet().Rows.Count, IdColumn).End(LastUsed).Row
        If Sheet().Cells(row, IdColumn).Value = id Then RowOf = row
    Next
End Function

' The orders known to the server, after each sign-on.
Private Sub ShowCount(ByRef result As CVekTaskResult)
    Dim table As CVekTable
    table.Object = CVekTaskResult_NameTable(result, "orders")
    Sheet().Range("D2").Value = CVekTable_RecordsCount(table) & " orders at the server"
End Sub

Private Sub ShowFate(ByVal row As Long, ByVal fate As Long, ByVal answer As String)
    Sheet().Cells(row, FateColumn).Value = VekWords(vst_Fate, fate)
    Sheet().Cells(row, AnswerColumn).Value = answer
End Sub

Private Function Sheet() As Object
    Set Sheet = ThisWorkbook.Worksheets(1)
End Function
