# What release builds compile how. To find out whether a source is in the wrong list, build with VEKAPI_SMALL=OFF and
# compare the benchmarks.

# Loops over the bytes of messages: for speed, whatever their size.
set(vekapi_loops protocol/Cipher protocol/XorBytes result/ByteMarks)

# The other sources that a request, an acknowledgement, a report or a result passes through: for speed, with large
# functions left out of line. The rest is compiled for size.
set(vekapi_hot
  flat/ClientFunctions flat/SessionRequestFunctions flat/TPendingEvRecs flat/TVekClientMessageLoopDelivery
  flat/VekApiC_VekClient
  keeper/TDueTimes keeper/TEvent keeper/TIdTable keeper/TLedger keeper/TLedgerFates keeper/TLedgerSend
  keeper/TRequestPool keeper/TSessionDelivery keeper/TSessionEvents keeper/TSessionPump keeper/TSessionSend
  session/TImplSend session/TLinkReceive session/TWire session/VekClientEvents session/VekClientSend
  flowctrl/TCooling flowctrl/TFlowCtrl flowctrl/VekFlowCtrl flowctrl/VekFlowCtrlSender
  protocol/RequestPrefix protocol/TPacketParser
  result/[A-Za-z]+
  shmem/TShMemRing
  transport/TCPClientReceive transport/TCPClientSend transport/TMemQueue
  runtime/TSyncContext runtime/TTimerBase runtime/TTimerQueue
  posix/Clock posix/CodePage posix/Socket posix/Thread posix/ThreadQueue
  win32/Clock win32/Socket win32/Thread)

# take_sources(LISTED SOURCES TO): moves the sources that LISTED names from SOURCES to TO.
function(take_sources listed sources to)
  list(JOIN ${listed} "|" names)
  set(taken ${${sources}})
  list(FILTER taken INCLUDE REGEX "/(${names})[.]cpp$")
  list(FILTER ${sources} EXCLUDE REGEX "/(${names})[.]cpp$")
  set(${to} ${taken} PARENT_SCOPE)
  set(${sources} ${${sources}} PARENT_SCOPE)
endfunction()
