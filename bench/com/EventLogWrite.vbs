' The cost of one late-bound KivLog.EventLogWrite from VBScript (run by scripts/bench-com).
' Arguments: the log folder, the number of calls of each of five runs. Prints "late_bound_us <microseconds per call>".
Option Explicit
Dim folder, calls, log, id, i, start
folder = WScript.Arguments(0)
calls = CLng(WScript.Arguments(1))
Set log = CreateObject("KivDbXtOle.KivLog")
id = log.EventLogOpen("BENCHLATE", folder)
log.EventLogOptions(id) = 4 ' KIVLIOPT_KEEPOPEN, as the compiled client's logs
' The fastest of five runs, as the compiled client measures.
Dim round, best, seconds
log.EventLogWrite id, "bench", "raw data"
For round = 1 To 5
  start = Timer
  For i = 1 To calls
    log.EventLogWrite id, "bench", "raw data"
  Next
  seconds = Timer - start
  If round = 1 Or seconds < best Then best = seconds
Next
WScript.Echo "late_bound_us " & Replace(CStr(1000000 * best / calls), ",", ".")
log.EventLogClose id
