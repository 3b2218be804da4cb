// Reading and writing records: values of every type, edits, record counts, DAO's errors.
#include <gtest/gtest.h>

#include "dao/dao_test_util.h"
#include "support/test_database.h"

using namespace kiv;
using namespace kiv::dao;
using kivtest::ErrorRaisedBy;
using kivtest::NumberRaisedBy;
using kivtest::Raised;
using kivtest::RaisedBy;

namespace {

struct TypedTable {
  kivtest::TestDatabases dbs;
  kivtest::TempFolder& dir = dbs.dir;
  String name = dbs.Name("t.mdb");
  std::shared_ptr<Database> db;

  explicit TypedTable(kivtest::Db engine) : dbs(engine) {
    db = kivtest::Engine()->CreateDatabase(name, dbLangGeneral);
    auto t = db->CreateTableDef(u"ALL");
    for (auto [name, type] :
         std::initializer_list<std::pair<const char16_t*, int16_t>>{{u"BOOL", dbBoolean},
                                                                    {u"BYTE", dbByte},
                                                                    {u"INT", dbInteger},
                                                                    {u"LONG", dbLong},
                                                                    {u"CUR", dbCurrency},
                                                                    {u"SNG", dbSingle},
                                                                    {u"DBL", dbDouble},
                                                                    {u"DAT", dbDate},
                                                                    {u"MEMO", dbMemo},
                                                                    {u"BIN", dbLongBinary}}) {
      t->Fields().Append(t->CreateField(name, type));
    }
    t->Fields().Append(t->CreateField(u"TXT", dbText, 5));  // zero-length strings refused
    auto req = t->CreateField(u"REQ", dbLong);
    req->Required(true);
    t->Fields().Append(req);
    db->TableDefs().Append(t);
  }
};

using DaoRecordset = kivtest::OnBothEngines;
KIV_ON_BOTH_ENGINES(DaoRecordset);

}  // namespace

TEST_P(DaoRecordset, EveryTypeRoundTripsThroughTheFile) {
  TypedTable t(GetParam());
  auto rs = t.db->OpenRecordset(u"ALL", dbOpenTable);
  EXPECT_TRUE(rs->BOF());
  EXPECT_TRUE(rs->EOF_());
  EXPECT_EQ(rs->RecordCount(), 0);
  rs->AddNew();
  Fields& f = rs->Fields();
  f[u"BOOL"]->Value(Variant(true));
  f[u"BYTE"]->Value(Variant(int16_t{200}));
  f[u"INT"]->Value(Variant(u"-1234"));
  f[u"LONG"]->Value(Variant(int32_t{-70000}));
  f[u"CUR"]->Value(Variant(Currency{123456789}));
  f[u"SNG"]->Value(Variant(1.5f));
  f[u"DBL"]->Value(Variant(0.1));
  f[u"DAT"]->Value(Variant::FromDate(45000.75));
  f[u"MEMO"]->Value(Variant(u"l\u00f6ng text \u20ac"));
  f[u"BIN"]->Value(Variant(std::vector<uint8_t>{0, 255, 7}));
  f[u"TXT"]->Value(Variant(u"abcde"));
  f[u"REQ"]->Value(Variant(int32_t{1}));
  rs->Update();
  rs->Close();

  t.db->Close();
  auto db = kivtest::Engine()->OpenDatabase(t.name);
  rs = db->OpenRecordset(u"ALL");
  EXPECT_EQ(rs->Type(), dbOpenTable);
  EXPECT_EQ(rs->RecordCount(), 1);
  Fields& g = rs->Fields();
  EXPECT_EQ(g[u"BOOL"]->Value(), Variant(true));
  EXPECT_EQ(g[u"BYTE"]->Value(), Variant(uint8_t{200}));
  EXPECT_EQ(g[u"INT"]->Value(), Variant(int16_t{-1234}));
  EXPECT_EQ(g[u"LONG"]->Value(), Variant(int32_t{-70000}));
  EXPECT_EQ(g[u"CUR"]->Value(), Variant(Currency{123456789}));
  EXPECT_EQ(g[u"SNG"]->Value(), Variant(1.5f));
  EXPECT_EQ(g[u"DBL"]->Value(), Variant(0.1));
  EXPECT_EQ(g[u"DAT"]->Value(), Variant::FromDate(45000.75));
  EXPECT_EQ(g[u"MEMO"]->Value(), Variant(u"l\u00f6ng text \u20ac"));
  EXPECT_EQ(g[u"BIN"]->Value(), Variant(std::vector<uint8_t>{0, 255, 7}));
  EXPECT_EQ(g[u"TXT"]->Value(), Variant(u"abcde"));
  EXPECT_EQ(g[u"BIN"]->FieldSize(), 3);
}

TEST_P(DaoRecordset, EditRulesAndTheirErrors) {
  TypedTable t(GetParam());
  auto rs = t.db->OpenRecordset(u"ALL");
  Fields& f = rs->Fields();
  EXPECT_EQ(ErrorRaisedBy([&] { f[u"LONG"]->Value(Variant(int32_t{1})); }),
            Raised(3020, u"Update or CancelUpdate without AddNew or Edit."));
  EXPECT_EQ(NumberRaisedBy([&] { rs->Update(); }), 3020);
  EXPECT_EQ(RaisedBy([&] { rs->Edit(); })->description, u"No current record.");

  rs->AddNew();
  EXPECT_EQ(rs->EditMode(), dbEditAdd);
  EXPECT_EQ(NumberRaisedBy([&] { f[u"TXT"]->Value(Variant(u"toolong")); }), 3163);
  EXPECT_EQ(NumberRaisedBy([&] { f[u"LONG"]->Value(Variant(u"abc")); }), 3421);
  EXPECT_EQ(NumberRaisedBy([&] { f[u"BYTE"]->Value(Variant(int32_t{300})); }), 3421);
  auto e = RaisedBy([&] { rs->Update(); });  // REQ is required and still Null
  ASSERT_TRUE(e);
  EXPECT_EQ(e->number, 3314);
  EXPECT_NE(e->description.find(u"'ALL.REQ'"), String::npos);
  f[u"REQ"]->Value(Variant(int32_t{5}));
  f[u"TXT"]->Value(Variant(u""));
  EXPECT_EQ(RaisedBy([&] { rs->Update(); })->description,
            u"Field 'ALL.TXT' cannot be a zero-length string.");
  f[u"TXT"]->Value(Variant::Null());
  rs->Update();
  EXPECT_EQ(rs->EditMode(), dbEditNone);
  EXPECT_EQ(rs->RecordCount(), 1);
  EXPECT_TRUE(rs->EOF_());  // AddNew leaves the position where it was

  rs->MoveFirst();
  rs->Edit();
  f[u"LONG"]->Value(Variant(int32_t{42}));
  rs->CancelUpdate();
  EXPECT_TRUE(f[u"LONG"]->Value().IsNull());
  rs->Edit();
  f[u"LONG"]->Value(Variant(int32_t{42}));
  rs->Update();
  EXPECT_EQ(f[u"LONG"]->Value(), Variant(int32_t{42}));
  EXPECT_EQ(rs->LastModified(), rs->Bookmark());

  rs->Delete();
  EXPECT_EQ(RaisedBy([&] { f[u"LONG"]->Value(); })->description, u"Record is deleted.");
  EXPECT_EQ(rs->RecordCount(), 0);
  rs->MoveNext();
  EXPECT_TRUE(rs->EOF_());
  EXPECT_EQ(NumberRaisedBy([&] { rs->MoveNext(); }), 3021);
}

TEST(DaoCounts, ExecuteAndCountsStayExact) {
  kivtest::TempFolder dir;
  auto db = kivtest::Engine()->CreateDatabase(dir.File("e.mdb"), dbLangGeneral);
  db->Execute(u"CREATE TABLE N (K LONG, S TEXT(10) COLLATE NOCASE)", dbFailOnError);
  auto t = db->CreateTableDef(u"U");
  t->Fields().Append(t->CreateField(u"K", dbLong));
  auto pk = t->CreateIndex(u"PrimaryKey");
  pk->Fields(u"K");
  pk->Primary(true);
  t->Indexes().Append(pk);
  db->TableDefs().Append(t);
  EXPECT_TRUE(db->TableDefs()[u"U"]->Indexes()[u"PrimaryKey"]->Primary());

  db->Execute(u"INSERT INTO U (K) VALUES (1); INSERT INTO U (K) VALUES (2)", dbFailOnError);
  EXPECT_EQ(db->RecordsAffected(), 2);
  auto e = RaisedBy([&] { db->Execute(u"INSERT INTO U (K) VALUES (1)", dbFailOnError); });
  ASSERT_TRUE(e);
  EXPECT_EQ(e->number, 3022);
  db->Execute(u"INSERT INTO U (K) VALUES (1)");  // without dbFailOnError the failure is ignored
  EXPECT_EQ(NumberRaisedBy([&] { db->Execute(u"SELECT * FROM U"); }), 3065);
  EXPECT_EQ(ErrorRaisedBy([&] { db->Execute(u"DELETE FROM U WHERE K = = 1", dbFailOnError); }),
            Raised(3075, u"Syntax error (missing operator) in query expression 'K = = 1'."));
  EXPECT_EQ(NumberRaisedBy([&] { db->Execute(u"INSERT INTO U (K) VALUES (", dbFailOnError); }),
            3134);
  EXPECT_EQ(NumberRaisedBy([&] { db->Execute(u"DELETE FROM NOPE", dbFailOnError); }), 3078);

  auto rs = db->OpenRecordset(u"U", dbOpenTable);
  EXPECT_EQ(rs->RecordCount(), 2);
  rs->AddNew();
  rs->Fields()[u"K"]->Value(Variant(int32_t{2}));
  EXPECT_EQ(NumberRaisedBy([&] { rs->Update(); }), 3022);
  rs->Fields()[u"K"]->Value(Variant(int32_t{3}));
  rs->Update();
  EXPECT_EQ(rs->RecordCount(), 3);
  db->Execute(u"DELETE FROM U WHERE K >= 2", dbFailOnError);
  EXPECT_EQ(rs->RecordCount(), 1);
  db->Execute(u"DELETE FROM U", dbFailOnError);
  EXPECT_EQ(rs->RecordCount(), 0);

  // A table made by SQL has no counter: it is counted.
  db->Execute(u"INSERT INTO N VALUES (1, 'a'), (2, 'b')", dbFailOnError);
  EXPECT_EQ(db->OpenRecordset(u"N", dbOpenTable)->RecordCount(), 2);
  EXPECT_EQ(db->TableDefs()[u"N"]->Fields()[u"S"]->Size(), 10);
}
