// Dynasets and snapshots from SQL: visited-row counts, changes through the keyset, read-only
// results, query errors.
#include <gtest/gtest.h>

#include "dao/dao_test_util.h"

using namespace kiv;
using namespace kiv::dao;
using kivtest::NumberRaisedBy;
using kivtest::RaisedBy;

namespace {

std::shared_ptr<Database> TenRows(kivtest::TempFolder& dir) {
  auto db = kivtest::Engine()->CreateDatabase(dir.File("d.mdb"), dbLangGeneral);
  auto t = db->CreateTableDef(u"EVENTS");
  t->Fields().Append(t->CreateField(u"DATE", dbDate));
  t->Fields().Append(t->CreateField(u"TYPE", dbLong));
  t->Fields().Append(kivtest::TextField(*t, u"SOURCE"));
  db->TableDefs().Append(t);
  for (int i = 0; i < 10; ++i) {
    db->Execute(u"INSERT INTO EVENTS VALUES (" + FromUtf8(std::to_string(45000 - i)) + u", " +
                    FromUtf8(std::to_string(i % 3)) + u", 'src" + FromUtf8(std::to_string(i)) +
                    u"')",
                dbFailOnError);
  }
  return db;
}

}  // namespace

TEST(DaoDynaset, CountsVisitedRowsAndChangesThroughTheKeyset) {
  kivtest::TempFolder dir;
  auto db = TenRows(dir);
  auto rs = db->OpenRecordset(u"select * from EVENTS where TYPE = 1 order by DATE", dbOpenDynaset);
  EXPECT_EQ(rs->Type(), dbOpenDynaset);
  EXPECT_TRUE(rs->Updatable());
  EXPECT_EQ(rs->RecordCount(), 1);  // only the first row has been reached
  EXPECT_EQ(rs->Fields()[u"SOURCE"]->Value(), Variant(u"src7"));
  rs->MoveLast();
  EXPECT_EQ(rs->RecordCount(), 3);
  rs->MoveFirst();
  rs->Move(1);
  EXPECT_EQ(rs->Fields()[u"SOURCE"]->Value(), Variant(u"src4"));

  rs->Delete();
  EXPECT_EQ(rs->RecordCount(), 2);
  rs->MoveNext();
  EXPECT_EQ(rs->Fields()[u"SOURCE"]->Value(), Variant(u"src1"));
  rs->Edit();
  rs->Fields()[u"SOURCE"]->Value(Variant(u"changed"));
  rs->Update();
  rs->AddNew();
  rs->Fields()[u"TYPE"]->Value(Variant(int32_t{1}));
  rs->Fields()[u"SOURCE"]->Value(Variant(u"added"));
  rs->Update();
  EXPECT_EQ(rs->RecordCount(), 3);
  rs->MoveLast();  // added rows show at the end
  EXPECT_EQ(rs->Fields()[u"SOURCE"]->Value(), Variant(u"added"));
  rs->Close();

  auto check = db->OpenRecordset(u"SELECT SOURCE FROM EVENTS WHERE TYPE = 1 ORDER BY SOURCE");
  check->MoveLast();
  EXPECT_EQ(check->RecordCount(), 3);
  EXPECT_EQ(check->Fields().Count(), 1);
  check->MoveFirst();
  EXPECT_EQ(check->Fields().Item(0)->Value(), Variant(u"added"));
  check->MoveNext();
  EXPECT_EQ(check->Fields().Item(0)->Value(), Variant(u"changed"));

  // Deleting every row while walking them, as a purge does.
  auto purge =
      db->OpenRecordset(u"select * from EVENTS where TYPE = 0 order by DATE", dbOpenDynaset);
  int deleted = 0;
  for (purge->MoveFirst(); !purge->EOF_(); purge->MoveNext()) {
    purge->Delete();
    ++deleted;
  }
  EXPECT_EQ(deleted, 4);
  EXPECT_EQ(db->OpenRecordset(u"EVENTS", dbOpenTable)->RecordCount(), 6);
  EXPECT_TRUE(db->OpenRecordset(u"select * from EVENTS where TYPE = 0")->EOF_());
}

TEST(DaoDynaset, ReadOnlyResultsAndQueryErrors) {
  kivtest::TempFolder dir;
  auto db = TenRows(dir);
  auto snap = db->OpenRecordset(u"SELECT * FROM EVENTS", dbOpenSnapshot);
  EXPECT_FALSE(snap->Updatable());
  EXPECT_EQ(RaisedBy([&] { snap->Edit(); })->description,
            u"Cannot update.  Database or object is read-only.");

  auto agg =
      db->OpenRecordset(u"SELECT TYPE, count(*) AS N FROM EVENTS GROUP BY TYPE", dbOpenDynaset);
  EXPECT_FALSE(agg->Updatable());
  agg->MoveLast();
  EXPECT_EQ(agg->RecordCount(), 3);
  EXPECT_EQ(agg->Fields()[u"N"]->Value(), Variant(int32_t{3}));
  EXPECT_EQ(agg->Fields()[u"TYPE"]->Type(), dbLong);
  EXPECT_EQ(NumberRaisedBy([&] { agg->AddNew(); }), 3027);

  auto empty = db->OpenRecordset(u"select * from EVENTS where TYPE = 9");
  EXPECT_TRUE(empty->BOF());
  EXPECT_TRUE(empty->EOF_());
  EXPECT_EQ(empty->RecordCount(), 0);
  EXPECT_EQ(NumberRaisedBy([&] { empty->MoveNext(); }), 3021);

  EXPECT_EQ(NumberRaisedBy([&] { db->OpenRecordset(u"select * from NOPE"); }), 3078);
  EXPECT_EQ(
      RaisedBy([&] { db->OpenRecordset(u"select * from EVENTS where NOPE = 1"); })->description,
      u"Too few parameters. Expected 1.");
  EXPECT_EQ(RaisedBy([&] { db->OpenRecordset(u"select * from EVENTS where TYPE = = 1"); })->number,
            3075);
  EXPECT_EQ(RaisedBy([&] { db->OpenRecordset(u"select * from EVENTS,"); })->description,
            u"Syntax error in FROM clause.");
  EXPECT_EQ(
      NumberRaisedBy([&] { db->OpenRecordset(u"EVENTS", dbOpenTable)->Seek(u"=", Variant(1)); }),
      3019);
  EXPECT_EQ(NumberRaisedBy([&] { snap->Seek(u"=", Variant(1)); }), 3251);
}
