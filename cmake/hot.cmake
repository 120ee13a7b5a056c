# The sources that a request, an acknowledgement, a report or a result passes through. Release builds compile the others
# for size.
set(vekapi_hot
  flowctrl/TCooling flowctrl/TFlowCtrl flowctrl/VekFlowCtrl flowctrl/VekFlowCtrlSender
  keeper/TDueTimes keeper/TIdTable keeper/TLedger keeper/TLedgerSend keeper/TRequestPool
  keeper/TSessionPump keeper/TSessionSend
  posix/CodePage posix/ThreadQueue
  flat/TPendingEvRecs
  runtime/TTimerBase
  protocol/Cipher protocol/TPacketParser protocol/XorBytes
  result/ByteMarks result/KeptHeaders result/KeyedHash result/RecordCutter result/RecordStore result/ResultBody
  result/ResultPacket result/ResultReader result/TableRecords result/VekFields result/VekTaskResult
  session/TImplSend session/TLinkReceive session/TWire session/VekClientSend
  shmem/TShMemRing
  transport/TCPClientSend)
list(JOIN vekapi_hot "|" vekapi_hot)
set(vekapi_hot "/(${vekapi_hot})[.]cpp$")
