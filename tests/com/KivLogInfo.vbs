' KivLogInfo from a script: properties, the LogData collection set by reference, CopyTo and the
' day read from FileName.
Option Explicit
Dim passed, failed : passed = 0 : failed = 0
Sub Check(ok, what)
  If ok Then passed = passed + 1 Else failed = failed + 1 : WScript.Echo "FAILED: " & what
End Sub

Dim info, copy, data
Set info = CreateObject("KivDbXtOle.KivLogInfo")
info.unk = "12" : info.AppId = "APP" : info.Path = "C:\logs"
info.FileName = "C:\logs\APP_20240305" : info.Computer = "pc" : info.User = "usr"
info.Events = 5 : info.Options = 1 : info.MaxSize = 4096
Check info.LogData.Count = 0, "a new descriptor has an empty LogData"
Set data = CreateObject("KivDbXtOle.Collection")
data.Add "x"
Set info.LogData = data
Check info.LogData.Count = 1 And info.LogData(1) = "x", "LogData set by reference"
data.Add "y"
Check info.LogData.Count = 2, "LogData is the caller's collection, not a copy"
Check info.Day = "2024-03-05", "Day: " & info.Day
Check info.DateCreated = DateSerial(2024, 3, 5) And TypeName(info.DateCreated) = "Date", "DateCreated"

Set copy = CreateObject("KivDbXtOle.KivLogInfo")
copy.unk = "keep" : copy.MaxSize = 1
info.CopyTo copy
Check copy.AppId & copy.Path & copy.FileName & copy.Computer & copy.User = _
  "APPC:\logsC:\logs\APP_20240305pcusr", "CopyTo copies the names"
Check copy.Events = 5 And copy.Options = 1, "CopyTo copies Events and Options"
Check copy.unk = "keep" And copy.MaxSize = 1 And copy.LogData.Count = 0, _
  "CopyTo leaves unk, MaxSize and LogData"
WScript.Echo passed & " passed, " & failed & " failed"
