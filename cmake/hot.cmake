# The sources that a request, an acknowledgement, a report or a result passes through. Release builds compile the others
# for size. To find out whether one is missing here, build with VEKAPI_SMALL=OFF and compare the benchmarks.
set(vekapi_hot
  flat/ClientFunctions flat/SessionFunctions flat/TPendingEvRecs flat/TVekClientMessageLoop flat/VekApiC_VekClient
  keeper/TDueTimes keeper/TEvent keeper/TIdTable keeper/TLedger keeper/TLedgerFates keeper/TLedgerSend
  keeper/TRequestPool keeper/TSession keeper/TSessionDelivery keeper/TSessionEvents keeper/TSessionPump
  keeper/TSessionSend
  session/TImplSend session/TLink session/TLinkReceive session/TWire session/VekClientEvents session/VekClientSend
  flowctrl/TCooling flowctrl/TFlowCtrl flowctrl/VekFlowCtrl flowctrl/VekFlowCtrlSender
  result/[A-Za-z]+
  protocol/Cipher protocol/RequestPrefix protocol/TPacketParser protocol/XorBytes
  shmem/TShMemRing
  transport/TCPClient transport/TCPClientSend transport/TMemQueue
  runtime/TSyncContext runtime/TThreadTimerQueue runtime/TTimerBase runtime/TTimerQueue
  posix/Clock posix/CodePage posix/Socket posix/Thread posix/ThreadQueue
  win32/Clock win32/Socket win32/Thread)
list(JOIN vekapi_hot "|" vekapi_hot)
set(vekapi_hot "/(${vekapi_hot})[.]cpp$")
