' Files shared with the Linux build (run by scripts/test-com, not on its own): the folder given
' holds a day's log (AppId LINUX) and a sector store ("lin") that Linux's kivlog wrote. The
' script reads them, then writes what it read into files of its own (log WINE, store "wine") for
' kivlog to read back and compare with what it wrote, byte for byte.
' Arguments: the folder, and the number of characters of the raw data kivlog wrote.
Option Explicit
Dim passed, failed : passed = 0 : failed = 0
Sub Check(ok, what)
  If ok Then passed = passed + 1 Else failed = failed + 1 : WScript.Echo "FAILED: " & what
End Sub

Dim folder, log, info, ev, text, id, store, data, length, modified, recId
folder = WScript.Arguments(0)
Set log = CreateObject("KivDbXtOle.KivLog")
Set info = CreateObject("KivDbXtOle.KivLogInfo")
info.FileName = log.LogFileName("LINUX", folder)
Check log.EventLogRead(info, 1, 10) = False And info.LogData.Count = 3, _
  "kivlog's log read: " & info.LogData.Count & " events"
Set ev = info.LogData(2)
Check ev.EvSource = "lnx" And ev.EvCategory = "cat" And ev.EvId = 7 And ev.EvType = 4 And _
  ev.EvUser = "U" And ev.EvComputer = "PC", "its event: " & ev.EvSource & "|" & ev.EvCategory & _
  "|" & ev.EvId & "|" & ev.EvType & "|" & ev.EvUser & "|" & ev.EvComputer
text = ev.EvRawData
Check Len(text) = CLng(WScript.Arguments(1)), "its raw data, " & Len(text) & " characters"
id = log.EventLogOpen("WINE", folder, 3, , "PC", "U")
Check id <> 0, "EventLogOpen"
Check log.EventLogWrite(id, "wine", text, 0, 2, "cat", 8) = False, "the raw data written back"
Check log.EventLogClose(id) = False, "EventLogClose"

Set store = CreateObject("KivDbXtOle.KivSector")
Check store.SectorOpen(folder & "\lin", True) = False, "kivlog's sector store opened"
Check store.SectorRead(1, data) = False And VarType(data) = 8209, "its record is bytes: " & VarType(data)
Check store.SectorInfo(1, length, modified) = False And length = 256, "of 256 bytes: " & length
store.SectorClose
Check store.SectorCreate(folder & "\wine") = False And store.SectorOpen(folder & "\wine") = False, _
  "a store of the script's own"
recId = 0
Check store.SectorWrite(recId, data) = False And recId = 1, "the bytes written back"
recId = 0
Check store.SectorWrite(recId, text) = False And recId = 2, "the raw data written as text"
store.SectorClose
WScript.Echo passed & " passed, " & failed & " failed"
