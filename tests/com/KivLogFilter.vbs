' KivLogFilter from a script: the lists as collections (For Each), by-reference date bounds,
' CopyTo into another filter and IsValid on events.
Option Explicit
Dim passed, failed : passed = 0 : failed = 0
Sub Check(ok, what)
  If ok Then passed = passed + 1 Else failed = failed + 1 : WScript.Echo "FAILED: " & what
End Sub

Dim f, g, e, item, text, lo, hi, t
Set f = CreateObject("KivDbXtOle.KivLogFilter")
t = 2
f.TypesAdd t : f.TypesAdd 4 : f.TypesAdd 2
f.IdsAdd 7
f.CategoriesAdd "a" : f.UsersAdd "u" : f.ComputersAdd "c" : f.SourcesAdd "s"
f.ServersAdd "v" : f.RawDatasAdd "r" : f.RawDatasAdd "q"
text = ""
For Each item In f.Types
  text = text & item & "(" & TypeName(item) & ");"
Next
Check text = "2(Long);4(Long);", "Types without the repeated item: " & text
text = ""
For Each item In f.RawDatas
  text = text & item & ";"
Next
Check text = "r;q;", "RawDatas in order: " & text
Check f.Ids.Count = 1 And f.Categories(1) = "a" And f.Users(1) = "u" And f.Computers(1) = "c" _
  And f.Sources(1) = "s" And f.Servers(1) = "v", "the other lists"
Check t = 2, "TypesAdd leaves the caller's variable as it was"

lo = DateSerial(2024, 1, 1) : hi = DateSerial(2024, 12, 31)
f.DateStart = lo : f.DateEnd = hi
Check f.DateStart = lo And f.DateEnd = hi And TypeName(f.DateStart) = "Date", "date bounds"
f.Checks = 1 Or 2 Or 8
Check f.Checks = 11, "Checks"

Set e = CreateObject("KivDbXtOle.KivLogEvent")
e.EvDate = DateSerial(2024, 6, 1) : e.EvType = 4 : e.EvId = 7
Check f.IsValid(e) = True, "an event inside every enabled check passes"
e.EvId = 8
Check f.IsValid(e) = False, "an id outside the list fails"

Set g = CreateObject("KivDbXtOle.KivLogFilter")
Check f.CopyTo(g) = False, "CopyTo"
Check g.Checks = 11 And g.Types.Count = 2 And g.RawDatas(2) = "q" And g.DateEnd = hi, "the copy"
e.EvId = 7
Check g.IsValid(e) = True, "the copy filters as the original"

f.TypesClear : f.IdsClear : f.CategoriesClear : f.UsersClear
f.ComputersClear : f.SourcesClear : f.ServersClear : f.RawDatasClear
Check f.Types.Count + f.Ids.Count + f.Categories.Count + f.Users.Count + f.Computers.Count _
  + f.Sources.Count + f.Servers.Count + f.RawDatas.Count = 0, "every list cleared"
Check g.Types.Count = 2, "the copy keeps its own lists"
WScript.Echo passed & " passed, " & failed & " failed"
