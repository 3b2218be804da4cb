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
WScript.Echo passed & " passed, " & failed & " failed"
