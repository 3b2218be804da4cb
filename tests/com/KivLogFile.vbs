' KivLogFile from a script: a database event log created, reported into, read, its settings
' read back through by-reference arguments, backed up, and its errors.
Option Explicit
Dim passed, failed : passed = 0 : failed = 0
Sub Check(ok, what)
  If ok Then passed = passed + 1 Else failed = failed + 1 : WScript.Echo "FAILED: " & what
End Sub

Dim fso, folder, log, lastErr, file, user, computer, pos, records, wrapping, days, mode, backup, i
Set fso = CreateObject("Scripting.FileSystemObject")
folder = fso.BuildPath(fso.GetSpecialFolder(2), fso.GetTempName)
fso.CreateFolder folder
Set log = CreateObject("KivDbXtOle.KivLogFile")
Set lastErr = CreateObject("KivDbXtOle.LastError")
file = folder & "\events.mdb"

Check log.CreateEventLog(file, 200) = False, "CreateEventLog with trailing optionals omitted"
Check log.OpenEventLog(file) = False, "OpenEventLog"
Check log.FileName = file, "FileName: " & log.FileName
records = 0 : wrapping = 0 : days = 0
Check log.MaxRecordsGet(records) = False And records = 200, "MaxRecordsGet writes back: " & records
Check log.WrappingGet(wrapping, days) = False And wrapping = -1 And days = 7, _
  "WrappingGet writes back the defaults: " & wrapping & " " & days
lastErr.Clear
records = 50
Check log.MaxRecordsSet(records) = True, "fewer than 100 records are refused"
Check lastErr.Source = "KivLogFile.MaxRecordsSet" And lastErr.Description = _
  "Errore nel parametro MaxRecords: Valore minimo=100", "the refusal: " & lastErr.Description
mode = ""
Check log.SyncModeGet(mode) = False And mode <> "", "SyncModeGet writes back: " & mode

user = "" : computer = ""
For i = 1 To 3
  Check log.ReportEvent("vbs", "data" & i, 4, "cat", 10 + i, user, computer) = False, "ReportEvent " & i
Next
Check user <> "" And computer <> "", "empty User and Computer are written back: " & user & "@" & computer
Check log.ReportEventEx("vbs", "bin", 1) = False, "ReportEventEx with optionals omitted"

pos = 0
Check log.ReadEventLog(0, pos) = 0, "ReadEventLog first"
Check log.ReadEventLogQueryStr = "select * from EVENTS order by DATE", "the default query: " & log.ReadEventLogQueryStr
pos = 0
Check log.ReadEventLog(0, pos, "where ID = 99") = 1, "no record for a subset that matches nothing"

backup = folder & "\backup.mdb"
Check log.BackupEventLog(backup) = False, "BackupEventLog"
Check fso.FileExists(backup), "the backup file exists"
Check log.CloseEventLog() = False, "CloseEventLog"

lastErr.Clear
Check log.OpenEventLog(folder & "\missing.mdb") = True, "opening a missing log fails"
Check lastErr.Source <> "" And lastErr.Number <> 0, "the failure is recorded: " & lastErr.Source & " " & lastErr.Number
fso.DeleteFolder folder, True
WScript.Echo passed & " passed, " & failed & " failed"
