"""The blob and table helpers over DAO objects, and DAO's own raised errors."""
import kivdbxt
from kivdbxt import dao


def blob_table(folder):
    db = dao.DBEngine().CreateDatabase(folder + "/b.mdb", dao.dbLangGeneral)
    t = db.CreateTableDef("B")
    t.Fields.Append(t.CreateField("ID", dao.dbLong))
    t.Fields.Append(t.CreateField("DATA", dao.dbLongBinary))
    idx = t.CreateIndex("PK")
    idx.Fields = "ID"
    idx.Primary = True
    t.Indexes.Append(idx)
    db.TableDefs.Append(t)
    return db


def test_blobs_in_and_out(folder):
    db = blob_table(folder)
    rs = db.OpenRecordset("B", dao.dbOpenTable)
    rs.AddNew()
    rs.Fields["ID"].Value = 1
    data = rs.Fields["DATA"]
    assert kivdbxt.Str_2_Blob(data, "ab") is False
    assert kivdbxt.QvDbXt().Str_2_Blob(data, "c\x00\xff") is False
    rs.Update()
    assert kivdbxt.Tb_Seek(rs, "PK", [1], "=") is False and not rs.NoMatch
    assert data.GetChunk(0, 10) == b"abc\x00\xff"
    assert kivdbxt.Blob_2_Str(data, 1, 3) == "bc\x00"
    bt = kivdbxt.KivBlobType()
    bt.Fld, bt.Offset, bt.ptr, bt.Buffer = data, 0, 1, ""
    # The type asked for decides how many bytes are read: an Integer 2, a Long 4.
    assert kivdbxt.Blob_Get(bt, kivdbxt.Typed(0, kivdbxt.vbInteger)) == (False, 0x6261)
    assert kivdbxt.Blob_Get(bt, 0) == (False, 0x00636261)
    assert kivdbxt.Tb_GetField(db, "B", "PK", [1], "ID") == "1"
    assert kivdbxt.Blob_2_File(folder + "/out.bin", data) is False
    with open(folder + "/out.bin", "rb") as f:
        assert f.read() == b"abc\x00\xff"
    failed, rs = kivdbxt.Close_Recordset(rs)
    assert failed is False and rs is None


def test_typing_helpers_and_dao_errors(folder):
    assert kivdbxt.Field_Lenght(dao.dbText, 5) == 5
    assert kivdbxt.Query_Argument("O'Hara", dao.dbText) == "'O''Hara'"
    result, value, previous = kivdbxt.Field_Validate("  abc ", "ABC", dao.dbText, 1, 0)
    assert (value, previous) == ("ABC", "ABC")
    db = blob_table(folder)
    try:
        db.TableDefs["B"].Fields["NOPE"]
        raise AssertionError("no error raised")
    except kivdbxt.KivError as e:
        assert (e.Number, e.Description) == (3265, "Item not found in this collection.")
    assert kivdbxt.Tb_Purge(db, "NOPE") is True
    rec = kivdbxt.LastErrorRecord()
    assert rec.Source == "QvDbXtMod.Tb_Purge" and rec.Number != 0
