Attribute VB_Name = "VekSession"
Option Explicit

' A session in a spreadsheet: StartSession signs on, the products fill a sheet, SendOrder sends an order, each report
' adds a row, StopSession ends the session. docs/vba.md explains the setup.
'
' Everything runs on the spreadsheet's thread: client and sender use its message loop. A callback may run while the user
' edits a cell, when no cell can be written. So callbacks store what arrived, and ShowNotes writes it, retrying after a
' second if Excel refuses. No error may leave a callback.

Private Declare PtrSafe Function LoadLibraryW Lib "kernel32" (ByVal path As LongPtr) As LongPtr

Private client As CVekClient
Private sender As CVekFlowCtrlSender
Private notes As New Collection
Private lastRow As Long, orders As Long

Public Sub StartSession()
    Dim events As CVekClientCallbacks, sent As CVekFlowCtrlSenderCallbacks
    StopSession
    If LoadLibraryW(StrPtr(ThisWorkbook.Path & "\vekapi.dll")) = 0 Then MsgBox "vekapi.dll is not there": Exit Sub
    events.OnVekConnectEvent = VekEntry(AddressOf OnConnect)
    events.OnVekApReadyEvent = VekEntry(AddressOf OnReady)
    events.OnVekTaskResultEvent = VekEntry(AddressOf OnResult)
    events.OnVekRequestAckEvent = VekEntry(AddressOf OnAck)
    events.OnVekReportEvent = VekEntry(AddressOf OnReport)
    sent.OnVekFlowCtrlSenderSent = VekEntry(AddressOf OnSent)
    client.Object = CVekClient_Create_OnMessageLoop(events, 0)
    sender.Object = CVekFlowCtrlSender_Create_OnMessageLoop(client, sent, 0)
    If client.Object = 0 Or sender.Object = 0 Then MsgBox "No client": StopSession: Exit Sub
    CVekFlowCtrlSender_SetFlowCtrl sender, 2, 100
    VekConnect client, ActiveSheet.Range("B1").Value, "spreadsheet", "1.0.0.0", ActiveSheet.Range("B2").Value, "", _
        InputBox("Password")
End Sub

' Also call it from Workbook_BeforeClose, and before the code is changed or reset.
Public Sub StopSession()
    CVekFlowCtrlSender_Delete sender
    CVekClient_Delete client
End Sub

Public Sub SendOrder()
    orders = orders + 1
    If Not VekSendPaced(sender, "x" & orders & " new" & vbLf & "prod=TXF side=B qty=1 price=MKT") Then
        Note CVekFlowCtrlSender_PendingCount(sender) & " orders are held"
    End If
End Sub

Public Sub OnConnect(ByVal from As LongPtr, ByVal user As LongPtr, ByVal reason As LongPtr)
    On Error Resume Next
    Note "state " & CVekClient_State(client) & " " & VekGet(reason)
    If CVekClient_State(client) < 0 Then Note CVekFlowCtrlSender_DropPending(sender) & " held orders dropped"
End Sub

Public Sub OnReady(ByVal from As LongPtr, ByVal user As LongPtr)
    On Error Resume Next
    VekSend client, cvmc_TaskResult, "w1 products"
End Sub

' A result is borrowed: its values are read before the Sub returns.
Public Sub OnResult(ByVal from As LongPtr, ByVal user As LongPtr, ByVal address As LongPtr)
    Dim result As CVekTaskResult, table As CVekTable, columns As CVekFields, row As Long, column As Long, line As String
    On Error Resume Next
    result.Object = VekHandleAt(address)
    table.Object = CVekTaskResult_IndexTable(result, 0)
    columns.Object = CVekTable_Fields(table)
    For row = 0 To CVekTable_RecordsCount(table) - 1
        line = ""
        For column = 0 To CVekFields_Count(columns) - 1
            line = line & VekGet(CVekTable_RecordIndexField(table, row, column)) & " "
        Next
        Note line
    Next
End Sub

Public Sub OnAck(ByVal from As LongPtr, ByVal user As LongPtr, ByVal msgCode As Long, ByVal text As LongPtr)
    On Error Resume Next
    CVekFlowCtrlSender_AckParser_P sender, msgCode, text
    Note VekGet(text)
End Sub

Public Sub OnReport(ByVal from As LongPtr, ByVal user As LongPtr, ByVal report As LongPtr)
    On Error Resume Next
    Note VekGet(report)
End Sub

Public Sub OnSent(ByVal from As LongPtr, ByVal user As LongPtr, ByVal sent As Long, ByVal refused As Long)
    On Error Resume Next
    Note sent & " orders sent, " & refused & " refused"
End Sub

Private Sub Note(ByVal text As String)
    notes.Add text
    ShowNotes
End Sub

Public Sub ShowNotes()
    On Error GoTo Busy
    Do While notes.Count > 0
        ThisWorkbook.Worksheets(1).Cells(5 + lastRow, 1).Value = notes(1)
        lastRow = lastRow + 1
        notes.Remove 1
    Loop
    Exit Sub
Busy:
    Resume Later
Later:
    On Error Resume Next
    Application.OnTime Now + TimeSerial(0, 0, 1), "ShowNotes"
End Sub
