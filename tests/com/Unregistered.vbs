' Run after kivdbxt.dll is unregistered: no class can be created any more.
Option Explicit
Dim passed, failed : passed = 0 : failed = 0
Sub Check(ok, what)
  If ok Then passed = passed + 1 Else failed = failed + 1 : WScript.Echo "FAILED: " & what
End Sub

Dim progId, obj
For Each progId In Array("KivDbXtOle.QvDbXt", "KivDbXtOle.KivBlobType", "KivDbXtOle.KivLogFile", "KivDbXtOle.KivLog", "KivDbXtOle.KivLogInfo", "KivDbXtOle.KivLogEvent", _
                         "KivDbXtOle.KivLogFilter", "KivDbXtOle.KivSector", "KivDbXtOle.Collection", "KivDbXtOle.DBEngine", _
                         "KivDbXtOle.LastError")
  On Error Resume Next
  Set obj = CreateObject(progId)
  Check Err.Number = 429, progId & " after unregistering: error " & Err.Number
  On Error GoTo 0
Next
WScript.Echo passed & " passed, " & failed & " failed"
