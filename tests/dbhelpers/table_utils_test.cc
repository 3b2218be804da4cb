// Table, recordset and database utilities, and the QvDbXt object that forwards to them.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "dao/dao_test_util.h"
#include "kivdbxt/class_table.h"
#include "kivdbxt/error.h"
#include "kivdbxt/qv_db_xt.h"
#include "platform/fs.h"
#include "support/env_var.h"
#include "support/last_error.h"
#include "support/test_database.h"

using namespace kiv;
using namespace kiv::dao;
using kivtest::LastRecorded;
using kivtest::Recorded;
namespace M = kiv::QvDbXtMod;

namespace {

// Rows (K, NAME) with K 10, 20, ..., 100 and NAME "n10" ... "n100", added in reverse order.
struct Keyed {
  kivtest::TestDatabases dbs;
  kivtest::TempFolder& dir = dbs.dir;
  String name = dbs.Name("k.mdb");
  std::shared_ptr<Database> db;
  std::shared_ptr<Recordset> rs;

  explicit Keyed(kivtest::Db engine = kivtest::Db::kSqlite) : dbs(engine) {
    db = kivtest::Engine()->CreateDatabase(name, dbLangGeneral);
    auto t = db->CreateTableDef(u"T");
    t->Fields().Append(t->CreateField(u"K", dbLong));
    t->Fields().Append(kivtest::TextField(*t, u"NAME"));
    kivtest::AddIndex(*t, u"K", u"K");
    kivtest::AddIndex(*t, u"NAME", u"NAME");
    db->TableDefs().Append(t);
    rs = db->OpenRecordset(u"T", dbOpenTable);
    for (int32_t k = 100; k >= 10; k -= 10) {
      rs->AddNew();
      rs->Fields()[u"K"]->Value(Variant(k));
      rs->Fields()[u"NAME"]->Value(Variant(u"n" + FromUtf8(std::to_string(k))));
      rs->Update();
    }
    rs->Index(u"K");
  }
  int32_t K() { return static_cast<int32_t>(rs->Fields()[u"K"]->Value().IntValue()); }
};

// What names the system's temporary folder.
#if defined(_WIN32)
constexpr char kTempFolderVariable[] = "TMP";
#else
constexpr char kTempFolderVariable[] = "TMPDIR";
#endif

std::vector<Variant> Key(int32_t k) { return {Variant(k)}; }

using Tables = kivtest::OnBothEngines;
KIV_ON_BOTH_ENGINES(Tables);

}  // namespace

TEST_P(Tables, PurgeDeleteAndIsNull) {
  Keyed t(GetParam());
  EXPECT_FALSE(M::Tb_Purge(t.db, u"T WHERE K > 70 OR NAME = 'n20'"));
  EXPECT_EQ(t.rs->RecordCount(), 6);
  EXPECT_TRUE(M::Tb_Purge(t.db, u"NOPE"));
  EXPECT_EQ(LastRecorded(), Recorded(3078, u"QvDbXtMod.Tb_Purge"));

  t.rs->MoveFirst();
  EXPECT_EQ(t.K(), 10);
  EXPECT_FALSE(M::Tb_Delete(t.rs));  // the first record: the recordset lands on the new first
  EXPECT_EQ(t.K(), 30);
  t.rs->MoveNext();
  EXPECT_FALSE(M::Tb_Delete(t.rs));  // another: it lands on the previous one
  EXPECT_EQ(t.K(), 30);
  EXPECT_FALSE(M::Tb_IsNull(t.rs));
  t.rs->MovePrevious();
  EXPECT_TRUE(t.rs->BOF());
  EXPECT_FALSE(M::Tb_IsNull(t.rs));  // moved back onto the first record
  EXPECT_EQ(t.K(), 30);

  EXPECT_FALSE(M::Tb_Purge(t.db, u"T"));
  t.rs->MoveFirst();
  EXPECT_TRUE(M::Tb_IsNull(t.rs));
  EXPECT_TRUE(M::Tb_Delete(t.rs));  // nothing to delete
  EXPECT_EQ(LastRecorded(), Recorded(3021, u"QvDbXtMod.Tb_Delete"));
}

TEST_P(Tables, SeekWithEveryComparisonAndASwitchedIndex) {
  Keyed t(GetParam());
  struct Case {
    const char16_t* op;
    int32_t key;
    int32_t found;  // 0: not found
  };
  for (const Case& c :
       {Case{u"=", 40, 40}, Case{u"=", 45, 0}, Case{u">=", 45, 50}, Case{u">", 50, 60},
        Case{u"<=", 45, 40}, Case{u"<", 40, 30}, Case{u"<", 10, 0}, Case{u"*", 45, 50},
        Case{u"*", 500, 100}, Case{u"*", 5, 10}}) {
    SCOPED_TRACE(ToUtf8(c.op) + std::to_string(c.key));
    ClearLastError();
    const bool not_found = M::Tb_Seek(t.rs, u"", Key(c.key), c.op);
    ASSERT_EQ(not_found, c.found == 0);
    EXPECT_EQ(Last_Error(), 0);  // not finding is no error
    if (c.found) {
      EXPECT_EQ(t.K(), c.found);
    }
  }

  // Seeking on another index comes back to the current one, on the record found.
  EXPECT_FALSE(M::Tb_Seek(t.rs, u"NAME", {Variant(u"N70")}, u"="));
  EXPECT_EQ(t.rs->Index(), u"K");
  EXPECT_EQ(t.K(), 70);
  t.rs->MoveNext();  // and navigation goes on in K order
  EXPECT_EQ(t.K(), 80);

  std::vector<Variant> six(6, Variant(int32_t{1}));
  EXPECT_TRUE(M::Tb_Seek(t.rs, u"", six, u"="));
  EXPECT_EQ(LastRecorded(), Recorded(5, u"QvDbXtMod.Tb_Seek"));
  EXPECT_TRUE(M::Tb_Seek(t.rs, u"NOPE", Key(1), u"="));
  EXPECT_EQ(Last_Error(), 3800);

  EXPECT_EQ(M::Tb_GetField(t.db, u"T", u"K", Key(60), u"NAME"), u"n60");
  EXPECT_EQ(M::Tb_GetField(t.db, u"T", u"K", Key(65), u"NAME"), u"");
  EXPECT_EQ(LastRecorded(), Recorded(3021, u"QvDbXtMod.Tb_GetField"));
  EXPECT_EQ(M::Tb_GetField(t.db, u"T", u"K", Key(60), u"NOPE"), u"");
  EXPECT_EQ(Last_Error(), 3265);

  const int32_t unk = M::Get_LongUnk(t.rs);
  EXPECT_GT(unk, 0);
  t.rs->Seek(u"=", Variant(unk));
  EXPECT_TRUE(t.rs->NoMatch());
  t.rs->Index(u"");
  EXPECT_EQ(M::Get_LongUnk(t.rs), 0);
  EXPECT_EQ(LastRecorded(), Recorded(3019, u"QvDbXtMod.Get_LongUnk"));
}

TEST_P(Tables, BookmarksAndClosing) {
  Keyed t(GetParam());
  t.rs->Seek(u"=", Variant(int32_t{50}));
  const Variant fifty = t.rs->Bookmark();
  t.rs->Seek(u"=", Variant(int32_t{20}));
  const Variant twenty = t.rs->Bookmark();
  EXPECT_FALSE(M::Bookmark_Check(t.rs, fifty));
  EXPECT_EQ(t.K(), 20);  // back where it was
  EXPECT_FALSE(M::Bookmark_Set(t.rs, fifty));
  EXPECT_EQ(t.K(), 50);
  t.rs->Bookmark(twenty);
  t.rs->Delete();
  t.rs->MoveFirst();
  EXPECT_TRUE(M::Bookmark_Check(t.rs, twenty));  // a deleted record is no valid bookmark
  EXPECT_EQ(LastRecorded(), Recorded(3167, u"QvDbXtMod.BookMarkSet"));
  EXPECT_EQ(t.K(), 10);
  EXPECT_TRUE(M::Bookmark_Set(t.rs, Variant(u"x")));
  EXPECT_EQ(Last_Error(), 3159);

  auto ws = kivtest::Engine()->Workspaces(0);
  auto other = t.rs;
  EXPECT_FALSE(M::Close_Recordset(t.rs));
  EXPECT_EQ(t.rs, nullptr);
  EXPECT_FALSE(M::Close_Recordset(t.rs));  // holding nothing: nothing to do
  EXPECT_TRUE(M::Close_Recordset(other));  // already closed
  EXPECT_EQ(LastRecorded(), Recorded(3420, u"QvDbXtMod.CloseRecordset"));
  EXPECT_EQ(other, nullptr);
  EXPECT_FALSE(M::Close_Db(t.db));
  EXPECT_EQ(t.db, nullptr);
  EXPECT_FALSE(M::Close_WorkSpace(ws));
  EXPECT_EQ(ws, nullptr);
}

TEST(TableUtils, CompactionShrinksAndCleansUp) {
  Keyed t;
  t.db->Execute(
      u"WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 3000) "
      u"INSERT INTO T SELECT 1000 + i, printf('%.200c', 'x') FROM n",
      dbFailOnError);
  M::Tb_Purge(t.db, u"T WHERE K > 1000");
  M::Close_Recordset(t.rs);
  M::Close_Db(t.db);
  const int64_t before = FileLength(t.name);

  // The temporary file goes to the system's temporary folder: here, the test's own folder.
  auto qv = std::static_pointer_cast<QvDbXt>(CreateObject(u"KivDbXtOle.QvDbXt"));
  ASSERT_TRUE(qv);
  {
    const kivtest::EnvVar tmpdir(kTempFolderVariable, t.dir.path().c_str());
    EXPECT_FALSE(qv->Db_Compact(t.name));
    EXPECT_FALSE(qv->Db_Repair(t.name));
    EXPECT_TRUE(qv->Db_CompactEx(t.dir.File("missing.mdb"), Variant::Missing(), 32));
  }
  EXPECT_EQ(LastRecorded(), Recorded(3024, u"QvDbXtMod.DbCompact"));

  EXPECT_LT(FileLength(t.name) * 4, before);
  std::vector<std::string> left;
  for (const auto& entry : std::filesystem::directory_iterator(t.dir.path())) {
    left.push_back(entry.path().filename().string());
  }
  EXPECT_EQ(left, std::vector<std::string>{"k.mdb"});
  auto db = kivtest::Engine()->OpenDatabase(t.name);
  EXPECT_EQ(db->OpenRecordset(u"T")->RecordCount(), 10);

  // A temporary file named by the caller is used and removed; one already there is refused and
  // left alone.
  db->Close();
  EXPECT_FALSE(qv->Db_CompactEx(t.name, Variant(t.dir.File("mine.tmp")), 0));
  EXPECT_FALSE(FileExists(t.dir.File("mine.tmp")));
  std::ofstream(t.dir.path() + "/mine.tmp") << "keep me";
  EXPECT_TRUE(qv->Db_CompactEx(t.name, Variant(t.dir.File("mine.tmp")), 0));
  EXPECT_EQ(Last_Error(), 3204);
  EXPECT_EQ(FileLength(t.dir.File("mine.tmp")), 7);
}
