' The collection type from a script: Add with a key and before/after, Item by position and key
' (also as the default member), Remove, Count, For Each, and the errors it records.
Option Explicit
Dim passed, failed : passed = 0 : failed = 0
Sub Check(ok, what)
  If ok Then passed = passed + 1 Else failed = failed + 1 : WScript.Echo "FAILED: " & what
End Sub

Dim c, lastErr, item, text, e
Set c = CreateObject("KivDbXtOle.Collection")
Set lastErr = CreateObject("KivDbXtOle.LastError")
c.Add "b", "kb"
c.Add "d"
c.Add "a", "ka", 1
c.Add "c", , , 2
Check c.Count = 4, "Count: " & c.Count
text = ""
For Each item In c
  text = text & item
Next
Check text = "abcd", "For Each in order: " & text
Check c("kb") = "b" And c.Item("KA") = "a" And c(4) = "d", "Item by key (any case) and position"
c.Remove "kb"
c.Remove 1
Check c.Count = 2 And c(1) = "c", "Remove by key and by position"

Set e = CreateObject("KivDbXtOle.KivLogEvent")
e.EvId = 5
c.Add e, "ev"
Check c("ev").EvId = 5, "an object item keeps its properties"
Check c("ev") Is e And c("ev") Is c(3), "an object item is the object added, however it is read"
c.Add 3.5
c.Add DateSerial(2024, 1, 2)
Check TypeName(c(4)) = "Double" And TypeName(c(5)) = "Date", "item types kept"

lastErr.Clear
c.Add "again", "EV"
Check lastErr.Number = 457 And c.Count = 5, "a duplicate key is refused with 457: " & lastErr.Number
c.Remove "nokey"
Check lastErr.Number = 5 And lastErr.Source = "Collection.Remove", "a missing key: " & lastErr.Number
Dim empty_ : Set empty_ = CreateObject("KivDbXtOle.Collection")
text = "none"
For Each item In empty_
  text = "some"
Next
Check text = "none", "For Each over an empty collection"
WScript.Echo passed & " passed, " & failed & " failed"
