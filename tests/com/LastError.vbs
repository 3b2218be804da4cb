' LastError from a script: the six fields of the calling thread's recorded error, Clear, and
' that a failing operation returns its error value instead of raising.
Option Explicit
Dim passed, failed : passed = 0 : failed = 0
Sub Check(ok, what)
  If ok Then passed = passed + 1 Else failed = failed + 1 : WScript.Echo "FAILED: " & what
End Sub

Dim lastErr, items, value
Set lastErr = CreateObject("KivDbXtOle.LastError")
Set items = CreateObject("KivDbXtOle.Collection")
lastErr.Clear
Check lastErr.Number = 0 And lastErr.Source = "" And lastErr.Description = "", "Clear"
Check TypeName(lastErr.HelpContext) = "String" And TypeName(lastErr.LastDllError) = "Long", _
  "HelpContext is text, LastDllError a Long"

On Error Resume Next
value = items.Item(3)
Check Err.Number = 0, "a failing operation raises nothing: " & Err.Number
On Error GoTo 0
Check IsEmpty(value), "its result is Empty"
Check lastErr.Number = 9, "Subscript out of range recorded: " & lastErr.Number
Check lastErr.Description = "Subscript out of range", "Description: " & lastErr.Description
Check lastErr.Source = "Collection.Item", "Source: " & lastErr.Source
Check lastErr.HelpFile = "" And lastErr.HelpContext = "0" And lastErr.LastDllError = 0, _
  "HelpFile, HelpContext, LastDllError: " & lastErr.HelpFile & "|" & lastErr.HelpContext
Dim second : Set second = CreateObject("KivDbXtOle.LastError")
Check second.Number = 9, "every LastError object reads the same thread's record"
lastErr.Clear
Check second.Number = 0, "Clear empties the thread's record"

' Set_Error from a script: its own Err captured (and cleared, as the recorder clears what it
' captures), the given Source winning; a run-time error as JScript numbers it (&H800A0035) is
' the one VBScript knows (53); 65535 is no error; Flags 8 keeps only what is given.
Dim flags
On Error Resume Next
Err.Raise 53, "Script", "Missing file", "help.chm", 7
lastErr.Set_Error Err, "Script.Open"
Check Err.Number = 0, "the script's Err is cleared: " & Err.Number
On Error GoTo 0
Check lastErr.Number = 53 And lastErr.Source = "Script.Open" And _
  lastErr.Description = "Missing file" And lastErr.HelpFile = "help.chm" And _
  lastErr.HelpContext = "7", "Err captured: " & lastErr.Number & "|" & lastErr.Source & "|" & _
  lastErr.Description & "|" & lastErr.HelpFile & "|" & lastErr.HelpContext
On Error Resume Next
Err.Raise 76
lastErr.Set_Error Err, "Script.Dir"
On Error GoTo 0
Check lastErr.Number = 76 And lastErr.Description = "Path not found", _
  "the engine's own text: " & lastErr.Number & "|" & lastErr.Description
lastErr.Set_Error &H800A0035, "Script.Open", "gone"
Check lastErr.Number = 53 And lastErr.Description = "gone", "&H800A0035 is 53: " & lastErr.Number
On Error Resume Next
Err.Raise 65535
lastErr.Set_Error Err, "Script.Odd"
On Error GoTo 0
Check lastErr.Number = 0 And lastErr.Source = "Script.Odd", "65535 is recorded as 0: " & lastErr.Number
flags = 8
On Error Resume Next
Err.Raise 9
lastErr.Set_Error 5, "Script.Given", , , , , flags
Check Err.Number = 9, "Flags 8 leaves the script's Err: " & Err.Number
On Error GoTo 0
Check lastErr.Number = 5 And lastErr.Description = "" And flags = 8, _
  "Flags 8 records only the given fields: " & lastErr.Number & "|" & lastErr.Description
lastErr.Set_Error 70, "Script.Sys", "Denied", , , 5, 2
Check lastErr.LastDllError = 5 And Left(lastErr.Description, 8) = "Denied" & vbCrLf And _
  Len(lastErr.Description) > 8, "Flags 2 appends the system text: " & lastErr.Description
WScript.Echo passed & " passed, " & failed & " failed"
