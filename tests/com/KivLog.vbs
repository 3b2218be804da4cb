' KivLog from a script: a day's log opened, written, read forwards and backwards, filtered,
' listed and purged, with by-reference and omitted optional arguments.
Option Explicit
Dim passed, failed : passed = 0 : failed = 0
Sub Check(ok, what)
  If ok Then passed = passed + 1 Else failed = failed + 1 : WScript.Echo "FAILED: " & what
End Sub

Dim fso, folder, log, lastErr, app, path, id, name, info, e, ids, start, f, logs, failed_
Set fso = CreateObject("Scripting.FileSystemObject")
folder = fso.BuildPath(fso.GetSpecialFolder(2), fso.GetTempName)
fso.CreateFolder folder
Set log = CreateObject("KivDbXtOle.KivLog")
Set lastErr = CreateObject("KivDbXtOle.LastError")
app = "BILLING"

' Omitted DATE (CurrDate) means today; a by-reference Path variable receives the default folder.
path = ""
name = log.LogFileName(app, path)
Check path = log.LogDefaultPath, "LogFileName writes the default folder back into Path: " & path
Check Right(path, 7) = "Q&V\Log", "default folder ends in Q&V\Log: " & path
Check name = path & "\" & app & "_" & Year(Date) & Right("0" & Month(Date), 2) & Right("0" & Day(Date), 2), _
  "omitted CurrDate is today: " & name
Check log.EXTLOGDATA = ".ZLG" And log.EXTLOGINDEX = ".ZLI", "extensions"

' Open, then write with omitted optionals of each type (BSTR, Long with default, Long without).
path = folder
id = log.EventLogOpen(app, path)
Check id <> 0, "EventLogOpen gives an Id"
Check log.EventLogWrite(id, "src", "first") = False, "write with trailing optionals omitted"
Check log.EventLogWrite(id, "src", , , 4, "cat", 11) = False, "write with middle optionals omitted"
Dim i
For i = 12 To 14
  Check log.EventLogWrite(id, "src", "data" & i, 0, 1, "cat", i, "srv") = False, "write " & i
Next
Check log.EventLogMaxSize(id) = 0, "EventLogMaxSize read"
log.EventLogMaxSize(id) = 100000
Check log.EventLogMaxSize(id) = 100000, "EventLogMaxSize put"
Set info = CreateObject("KivDbXtOle.KivLogInfo")
Check log.EventLogInfo(id, info) = False, "EventLogInfo"
Check info.AppId = app And info.Events = 6, "EventLogInfo fills the descriptor: " & info.AppId & " " & info.Events
Check log.EventLogClose(id) = False, "EventLogClose"

' Forward read: the Open marker, then the events as written; defaults applied by the server.
info.FileName = folder & "\" & app & "_" & Year(Date) & Right("0" & Month(Date), 2) & Right("0" & Day(Date), 2)
start = 1
Check log.EventLogRead(info, start, 3) = False, "EventLogRead"
Check info.Events = 7, "Events counts Open, five events and Closed: " & info.Events
Check info.LogData.Count = 3, "three events read: " & info.LogData.Count
ids = ""
For Each e In info.LogData
  ids = ids & e.EvId & ":" & e.EvType & ":" & e.EvRawData & ":" & e.EvCategory & ";"
Next
Check ids = "1:4:Open:;0:2:first:;11:4::cat;", "events and defaults in order: " & ids

' Backward read from beyond the end starts at the last event and writes it back into Start.
start = 1000
Check log.EventLogReadBack(info, start, 2) = False, "EventLogReadBack"
Check start = 7, "Start written back: " & start
ids = ""
For Each e In info.LogData
  ids = ids & e.Ordinal & "=" & e.EvRawData & ";"
Next
Check ids = "6=data14;7=Closed;", "backward page in ascending order: " & ids

' A filter on ids, forwards and backwards.
Set f = CreateObject("KivDbXtOle.KivLogFilter")
f.IdsAdd 13
f.Checks = 8
start = 1
Check log.EventLogFilter(info, start, f, 10) = False, "EventLogFilter"
Check info.LogData.Count = 1, "one event passes the filter: " & info.LogData.Count
Check info.LogData(1).EvRawData = "data13", "the filtered event"
start = 7
Check log.EventLogFilterBack(info, start, f, 10) = False, "EventLogFilterBack"
Check info.LogData.Count = 1, "one event passes backwards"

' List the folder: one log; then purge days before tomorrow, with Before by reference.
Dim oldId, before
oldId = log.EventLogOpen("OLD", folder, 3, DateSerial(2020, 1, 2))
Check oldId <> 0, "open a log of an earlier day"
Check log.EventLogClose(oldId) = False, "close it"
Set logs = CreateObject("KivDbXtOle.Collection")
Check log.EventLogList(logs, folder) = False, "EventLogList"
' A log opened on an earlier day moves to today's files when it writes its Closed marker.
Dim listed, today : listed = ""
today = Year(Date) & "-" & Right("0" & Month(Date), 2) & "-" & Right("0" & Day(Date), 2)
For Each e In logs : listed = listed & e.AppId & "_" & e.Day & ";" : Next
Check listed = "BILLING_" & today & ";OLD_2020-01-02;OLD_" & today & ";", "logs listed: " & listed
before = DateSerial(2021, 1, 1)
Check log.EventLogPurgeEx(before, "OLD", folder) = False, "EventLogPurgeEx"
Check Not fso.FileExists(folder & "\OLD_20200102.ZLG"), "the earlier day's data file is gone"
Check fso.FileExists(info.FileName & ".ZLG"), "today's log stays"

' Purge of the open log removes today's files.
id = log.EventLogOpen(app, folder)
Check log.EventLogPurge(id) = False, "EventLogPurge"
Check Not fso.FileExists(info.FileName & ".ZLI"), "today's index file is gone"

' The error convention: True, and the recorded error readable through LastError.
lastErr.Clear
Check log.EventLogClose(123456) = True, "closing an unknown Id fails"
Check lastErr.Source = "KivLog.EventLogClose", "Source: " & lastErr.Source
Check lastErr.Description = "Eventlog not started.", "Description: " & lastErr.Description
Check lastErr.Number <> 0, "Number recorded"
Check log.EventLogOpen("NONE", folder, 0) = 0, "ELOF_OPEN_EXISTING on a missing log gives 0"
Check lastErr.Source = "KivLog.EventLogOpenEx", "Source of the failed open: " & lastErr.Source
Check InStr(lastErr.Description, "non esiste.") > 0, "message of the failed open: " & lastErr.Description

fso.DeleteFolder folder, True
WScript.Echo passed & " passed, " & failed & " failed"
