' QvDbXt from a script on the library's DAO objects (the table made through TableDef, Field and
' Index): a blob written through the buffered cursor and as a whole string, read back, and the
' helpers that need no database; their errors.
Option Explicit
Dim passed, failed : passed = 0 : failed = 0
Sub Check(ok, what)
  If ok Then passed = passed + 1 Else failed = failed + 1 : WScript.Echo "FAILED: " & what
End Sub

Dim fso, folder, engine, db, rs, qv, bt, lastErr, keys, fld
Set fso = CreateObject("Scripting.FileSystemObject")
folder = fso.BuildPath(fso.GetSpecialFolder(2), fso.GetTempName)
fso.CreateFolder folder
Set engine = CreateObject("KivDbXtOle.DBEngine")
Set qv = CreateObject("KivDbXtOle.QvDbXt")
Set lastErr = CreateObject("KivDbXtOle.LastError")

Set db = engine.CreateDatabase(folder & "\blobs.mdb", ";LANGID=0x0409;CP=1252;COUNTRY=0")
' The table made through DAO's TableDef, Field and Index, and read back through the collections.
Dim td, idx, f, names
Set td = db.CreateTableDef("T")
td.Fields.Append td.CreateField("ID", 4)
td.Fields.Append td.CreateField("NAME", 10, 10)
td.Fields.Append td.CreateField("DATA", 11)
Set idx = td.CreateIndex("PK")
idx.Fields = "ID"
idx.Primary = True
td.Indexes.Append idx
db.TableDefs.Append td
names = ""
For Each f In db.TableDefs("T").Fields
  names = names & f.Name & ":" & f.Type & " "
Next
Check names = "ID:4 NAME:10 DATA:11 ", "the stored table's fields: " & names
Check db("T").Indexes("PK").Primary And db("T").Indexes(0).Fields(0).Name = "ID" And _
  db("T")("NAME").Size = 10 And db.TableDefs.Count = 1, "its index and sizes"
lastErr.Clear
td.Fields.Append td.CreateField("id", 4)
Check lastErr.Number = 3367 And lastErr.Source = "Fields.Append", _
  "a field name taken (any case): " & lastErr.Number & " " & lastErr.Source
Set rs = db.OpenRecordset("T", 1)
rs.AddNew
rs.Fields("ID").Value = 1
rs("NAME") = "one"
Set bt = CreateObject("KivDbXtOle.KivBlobType")
Check qv.Blob_Init(bt, rs.Fields("DATA")) = 0, "Blob_Init on a DAO Field"
Check bt.Fld Is Nothing, "the cursor works on copies: Blob_Init leaves the caller's cursor"
Set bt.Fld = rs.Fields("DATA")
Check bt.Fld.Name = "DATA", "the cursor's Fld set by reference"
Check qv.Blob_Put(bt, "short") = 0 And bt.Buffer = "", "a short Blob_Put stores nothing in the cursor"
Check qv.Str_2_Blob(rs.Fields("DATA"), "hello world") = 0, "Str_2_Blob"
rs.Update
rs.MoveFirst
Check qv.Blob_2_Str(rs.Fields("DATA")) = "hello world", "Blob_2_Str with Offset and Size omitted"
Check qv.Blob_2_Str(rs.Fields("DATA"), 6, 3) = "wor", "Blob_2_Str with Offset and Size: " & qv.Blob_2_Str(rs.Fields("DATA"), 6, 3)
Check VarType(rs.Fields("DATA").Value) = 8209, "a long binary value is a byte array: " & VarType(rs.Fields("DATA").Value)

' Tb_Seek with an array of keys; Tb_GetField by key; the field as text.
rs.AddNew : rs("ID") = 2 : rs("NAME") = "two" : rs.Update
keys = Array(2)
Check qv.Tb_Seek(rs, "PK", keys, "=") = 0 And rs("NAME") = "two", "Tb_Seek"
Check qv.Tb_GetField(db, "T", "PK", keys, "NAME") = "two", "Tb_GetField"

' Helpers without a database.
Check qv.Field_Size(4, 0) = 4 And qv.Field_Align(7) = 4, "Field_Size and Field_Align"
Check qv.Query_Argument("it's", 10) = "'it''s'", "Query_Argument: " & qv.Query_Argument("it's", 10)

' The error convention: True (-1 for a 16-bit flag) and the fixed Source.
lastErr.Clear
Set fld = Nothing
Check qv.Str_2_Blob(fld, "x") = -1, "Str_2_Blob on Nothing fails"
Check lastErr.Source = "QvDbXtMod.Str2Blob" And lastErr.Number <> 0, "Source: " & lastErr.Source
Check qv.Close_Recordset(rs) = 0 And rs Is Nothing, "Close_Recordset sets the variable to Nothing"
Check qv.Close_Db(db) = 0 And db Is Nothing, "Close_Db sets the variable to Nothing"
fso.DeleteFolder folder, True
WScript.Echo passed & " passed, " & failed & " failed"
