// Table, recordset and database utilities: purging, deleting and repositioning, seeking with
// an index switch, bookmarks, free keys, closing, compaction.
#include "dbhelpers/module_support.h"
#include "kivdbxt/qv_db_xt_mod.h"
#include "dao/compact.h"
#include "platform/fs.h"
#include "platform/system.h"
#include "platform/text_compare.h"
#include "platform/vb_convert.h"

namespace kiv::QvDbXtMod {
namespace {

constexpr size_t kMaxSeekKeys = 5;

// The current record's bookmark, or Empty when there is none.
Variant CurrentBookmark(dao::Recordset& rs) {
  return Quietly(Variant(), [&] { return rs.Bookmark(); });
}

bool SeekOnce(dao::Recordset& tb, const String& op, const std::vector<Variant>& keys) {
  tb.Seek(op, keys);
  return !tb.NoMatch();
}

}  // namespace

bool Tb_Purge(const DatabaseRef& db, const String& TbName) {
  return Guard(u"QvDbXtMod.Tb_Purge", true, [&] {
    Need(db).Execute(u"DELETE FROM " + TbName, dao::dbFailOnError);
    return false;
  });
}

bool Tb_Delete(const RecordsetRef& rs) {
  return Guard(u"QvDbXtMod.Tb_Delete", true, [&] {
    dao::Recordset& r = Need(rs);
    r.Delete();
    const bool moved = Quietly(false, [&] {
      r.MovePrevious();
      return true;
    });
    if (!moved || r.BOF()) r.MoveFirst();
    return false;
  });
}

bool Tb_IsNull(const RecordsetRef& rs) {
  return Quietly(true, [&] {
    dao::Recordset& r = Need(rs);
    if (r.BOF()) {
      const bool moved = Quietly(false, [&] {
        r.MoveNext();
        return true;
      });
      return !moved || r.EOF_();
    }
    if (r.EOF_()) {
      const bool moved = Quietly(false, [&] {
        r.MovePrevious();
        return true;
      });
      return !moved || r.BOF();
    }
    return false;
  });
}

bool Tb_Seek(const RecordsetRef& Tb, const String& IdxName, const std::vector<Variant>& KeyVal,
             const String& Op) {
  return Guard(u"QvDbXtMod.Tb_Seek", true, [&] {
    dao::Recordset& tb = Need(Tb);
    if (KeyVal.empty() || KeyVal.size() > kMaxSeekKeys) Raise(kErrInvalidCall);
    const Variant before = CurrentBookmark(tb);
    const String old_index = tb.Index();
    const bool switched = !IdxName.empty() && !TextEquals(IdxName, old_index);
    if (switched) tb.Index(IdxName);
    bool found = false;
    if (Op == u"*") {  // the nearest key: at or after it, else at or before it
      found = SeekOnce(tb, u">=", KeyVal) || SeekOnce(tb, u"<=", KeyVal);
    } else {
      found = SeekOnce(tb, Op, KeyVal);
    }
    const Variant noted = found ? tb.Bookmark() : Variant();
    if (switched) {
      // Back to the old index, on the record found (or where the table stood).
      tb.Index(old_index);
      if (found) return Bookmark_Set(Tb, noted);
      if (!before.IsEmpty())
        Quietly(false, [&] {
          tb.Bookmark(before);
          return true;
        });
    }
    return !found;
  });
}

String Tb_GetField(const DatabaseRef& db, const String& TbName, const String& IdxName,
                   const std::vector<Variant>& KeyVal, const String& FldName) {
  RecordsetRef rs;
  return Guard(
      u"QvDbXtMod.Tb_GetField", String(),
      [&] {
        rs = Need(db).OpenRecordset(TbName, dao::dbOpenTable);
        ClearLastError();  // so that a key not found tells itself apart from a failure
        if (Tb_Seek(rs, IdxName, KeyVal, u"=")) {
          if (Last_Error() == 0) Raise(3021, u"No current record.");
          throw Error{Last_Error(), LastErrorRecord().Description};
        }
        const Variant value = Field_Value(rs->Fields()[FldName]);
        const String text = value.IsEmpty() ? String() : CStr(value);
        if (Close_Recordset(rs)) throw Error{Last_Error(), LastErrorRecord().Description};
        return text;
      },
      [&] { Close_Recordset(rs); });
}

int32_t Get_LongUnk(const RecordsetRef& Tb) {
  return Guard(u"QvDbXtMod.Get_LongUnk", int32_t{0}, [&] {
    dao::Recordset& tb = Need(Tb);
    for (;;) {
      const int32_t candidate = UniqueNumber();
      tb.Seek(u"=", Variant(candidate));
      if (tb.NoMatch()) return candidate;
    }
  });
}

bool Bookmark_Set(const RecordsetRef& rs, const Variant& Bk) {
  return Guard(u"QvDbXtMod.BookMarkSet", true, [&] {
    dao::Recordset& r = Need(rs);
    r.Bookmark(Bk);
    r.Fields().Item(0)->Value();  // a record that cannot be read is no valid position
    return false;
  });
}

bool Bookmark_Check(const RecordsetRef& rs, const Variant& Bk) {
  return Guard(u"QvDbXtMod.BookMarkCheck", true, [&] {
    const Variant before = CurrentBookmark(Need(rs));
    const bool invalid = Bookmark_Set(rs, Bk);
    if (!before.IsEmpty()) rs->Bookmark(before);
    return invalid;
  });
}

bool Close_Recordset(RecordsetRef& rs) {
  return Guard(
      u"QvDbXtMod.CloseRecordset", true,
      [&] {
        if (rs) rs->Close();
        rs.reset();
        return false;
      },
      [&] { rs.reset(); });
}

bool Close_Db(DatabaseRef& db) {
  return Guard(
      u"QvDbXtMod.CloseDb", true,
      [&] {
        if (db) db->Close();
        db.reset();
        return false;
      },
      [&] { db.reset(); });
}

bool Close_WorkSpace(WorkspaceRef& Wksp) {
  return Guard(
      u"QvDbXtMod.CloseWorkSpace", true,
      [&] {
        if (Wksp) Wksp->Close();
        Wksp.reset();
        return false;
      },
      [&] { Wksp.reset(); });
}

namespace {

// The compacted copy holds the whole database: without a file named by the caller it is made in
// a folder of its own that only this user may enter, removed with the copy on every path.
struct PrivateCopy {
  PrivateCopy() : folder(PrivateTempFolder(u"MDB")), file(folder + kPathSeparator + u"MDB.tmp") {}
  ~PrivateCopy() {
    RemoveFile(file);
    RemoveFolder(folder);
  }
  const String folder;
  const String file;
};

}  // namespace

bool Db_CompactEx(const String& DbName, const Variant& TmpFile, int32_t /*DbType*/) {
  return Guard(u"QvDbXtMod.DbCompact", true, [&] {
    const String tmp =
        TmpFile.IsMissing() || TmpFile.IsNull() || TmpFile.IsEmpty() ? String() : CStr(TmpFile);
    if (!tmp.empty()) {
      dao::detail::CompactInPlace(DbName, tmp);
      return false;
    }
    PrivateCopy copy;
    dao::detail::CompactInPlace(DbName, copy.file);
    return false;
  });
}

bool Db_Compact(const String& DbName, const Variant& TmpFile) {
  return Db_CompactEx(DbName, TmpFile, 0);
}

// The repair is a compaction, deliberately.
bool Db_Repair(const String& DbName) { return Db_CompactEx(DbName, Variant::Missing(), 0); }

}  // namespace kiv::QvDbXtMod
