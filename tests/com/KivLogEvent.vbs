' KivLogEvent from a script: every property round trip with its automation type, the text
' clean-up of TranslateData, and Save's error on a file number that is not open.
Option Explicit
Dim passed, failed : passed = 0 : failed = 0
Sub Check(ok, what)
  If ok Then passed = passed + 1 Else failed = failed + 1 : WScript.Echo "FAILED: " & what
End Sub

Dim e, lastErr, when, hndl
Set e = CreateObject("KivDbXtOle.KivLogEvent")
Set lastErr = CreateObject("KivDbXtOle.LastError")
when = DateSerial(2024, 3, 5) + TimeSerial(10, 20, 30)
e.EvUnk = 77 : e.EvDate = when : e.EvType = 4 : e.EvCategory = "cat" : e.EvId = 9
e.EvUser = "usr" : e.EvComputer = "pc" : e.EvSource = "src" : e.EvServer = "srv"
e.EvRawData = "raw" : e.EvDataType = 0 : e.Offset = 123
Check e.EvUnk = 77 And TypeName(e.EvUnk) = "Long", "EvUnk"
Check e.EvDate = when And TypeName(e.EvDate) = "Date", "EvDate is a Date: " & TypeName(e.EvDate)
Check e.EvType = 4 And e.EvId = 9 And e.Offset = 123 And e.EvDataType = 0, "Long properties"
Check e.EvCategory & e.EvUser & e.EvComputer & e.EvSource & e.EvServer & e.EvRawData = _
  "catusrpcsrcsrvraw", "String properties"
Check TypeName(e.EvSource) = "String", "strings are BSTRs"
Check e.Ordinal = 0, "Ordinal of a new event"

' Binary raw data becomes hexadecimal text; True is -1 at the boundary.
e.EvDataType = 1
e.EvRawData = "AB"
Check e.TranslateData() = False, "TranslateData"
Check e.EvRawData = "4142", "binary raw data as hexadecimal: " & e.EvRawData
Check CInt(e.RestoreData()) = 0, "RestoreData is False"

hndl = 0
lastErr.Clear
Check CInt(e.Save(hndl)) = -1, "Save on file number 0 fails with True (-1)"
Check lastErr.Source = "KivLogEvent.Save", "Source: " & lastErr.Source
Check lastErr.Number = 52, "Bad file name or number: " & lastErr.Number
Check lastErr.Description = "Bad file name or number", "Description: " & lastErr.Description
WScript.Echo passed & " passed, " & failed & " failed"
