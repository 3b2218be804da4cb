' KivSector from a script: a store created, records written as text and as bytes, read back,
' listed, deleted, compacted and verified; RecId written back by SectorWrite.
Option Explicit
Dim passed, failed : passed = 0 : failed = 0
Sub Check(ok, what)
  If ok Then passed = passed + 1 Else failed = failed + 1 : WScript.Echo "FAILED: " & what
End Sub

Dim fso, folder, store, lastErr, file, id1, id2, data, ids, item, text, length, modified, damaged
Set fso = CreateObject("Scripting.FileSystemObject")
folder = fso.BuildPath(fso.GetSpecialFolder(2), fso.GetTempName)
fso.CreateFolder folder
Set store = CreateObject("KivDbXtOle.KivSector")
Set lastErr = CreateObject("KivDbXtOle.LastError")
file = folder & "\store"
id1 = 0 : id2 = 0

Check store.SectorCreate(file) = False, "SectorCreate with the default sector size"
lastErr.Clear
Check store.SectorWrite(id1, "x") = True, "writing before SectorOpen fails"
Check lastErr.Source = "KivSector.SectorWrite" And lastErr.Description = "Archivio di settori non aperto.", _
  "the refusal: " & lastErr.Source & " " & lastErr.Description
Check store.SectorOpen(file) = False, "SectorOpen"
Check store.SectorSize = 512, "SectorSize: " & store.SectorSize
id1 = 0 : id2 = 0
Check store.SectorWrite(id1, String(700, "x")) = False And id1 <> 0, "a text record spanning sectors: " & id1
Check store.SectorWrite(id2, "second") = False And id2 <> id1, "a second record: " & id2
Check store.Records = 2, "Records: " & store.Records
data = Empty
Check store.SectorRead(id1, data) = False, "SectorRead"
Check data = String(700, "x") And TypeName(data) = "String", "the text record comes back whole"
Check store.SectorInfo(id2, length, modified) = False And length = 12 And TypeName(modified) = "Date", _
  "SectorInfo: two bytes a character, " & length
Set ids = CreateObject("KivDbXtOle.Collection")
Check store.SectorList(ids) = False, "SectorList"
text = ""
For Each item In ids
  text = text & item & ";"
Next
Check text = id1 & ";" & id2 & ";", "the record numbers ascending: " & text
Check store.SectorDelete(id1) = False And store.Records = 1, "SectorDelete"
Check store.SectorCompact() = False, "SectorCompact"
Set damaged = CreateObject("KivDbXtOle.Collection")
Check store.SectorVerify(damaged) = False And damaged.Count = 0, "SectorVerify finds nothing damaged"
Check store.SectorClose() = False, "SectorClose"

Check store.SectorOpen(file, True) = False, "SectorOpen read-only"
data = Empty
Check store.SectorRead(id2, data) = False And data = "second", "the record after reopening"
lastErr.Clear
Check store.SectorRead(id1, data) = True, "reading a deleted record fails"
Check lastErr.Number = 20000 And lastErr.Source = "KivSector.SectorRead" And _
  lastErr.Description = "Il record " & id1 & " non esiste.", "recorded: " & lastErr.Description
Check store.SectorDelete(id2) = True And lastErr.Number = 54, "a read-only store refuses changes: " & lastErr.Number
Check store.SectorClose() = False, "SectorClose"
fso.DeleteFolder folder, True
WScript.Echo passed & " passed, " & failed & " failed"
