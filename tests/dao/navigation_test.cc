// Table-type navigation in index order, Seek, bookmarks.
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

// Rows (K, NAME) added in a scrambled order, with duplicates and a Null key.
struct Indexed {
  kivtest::TestDatabases dbs;
  kivtest::TempFolder& dir = dbs.dir;
  String name = dbs.Name("n.mdb");
  std::shared_ptr<Database> db;
  std::shared_ptr<Recordset> rs;

  explicit Indexed(kivtest::Db engine) : dbs(engine) {
    db = kivtest::Engine()->CreateDatabase(name, dbLangGeneral);
    auto t = db->CreateTableDef(u"T");
    t->Fields().Append(t->CreateField(u"K", dbLong));
    t->Fields().Append(kivtest::TextField(*t, u"NAME", 20));
    kivtest::AddIndex(*t, u"K", u"K");
    kivtest::AddIndex(*t, u"KNAME", u"K;-NAME");
    kivtest::AddIndex(*t, u"NAME", u"NAME");
    db->TableDefs().Append(t);
    rs = db->OpenRecordset(u"T", dbOpenTable);
    const std::pair<Variant, const char16_t*> rows[] = {
        {Variant(int32_t{30}), u"c"}, {Variant(int32_t{10}), u"b"}, {Variant::Null(), u"n"},
        {Variant(int32_t{20}), u"x"}, {Variant(int32_t{10}), u"a"}, {Variant(int32_t{40}), u"D"}};
    for (const auto& [key, text] : rows) {
      rs->AddNew();
      rs->Fields()[u"K"]->Value(key);
      rs->Fields()[u"NAME"]->Value(Variant(text));
      rs->Update();
    }
  }

  String Name() { return rs->Fields()[u"NAME"]->Value().StringValue(); }

  String Forward() {
    String seen;
    for (rs->MoveFirst(); !rs->EOF_(); rs->MoveNext()) seen += Name();
    return seen;
  }

  String Backward() {
    String seen;
    for (rs->MoveLast(); !rs->BOF(); rs->MovePrevious()) seen += Name();
    return seen;
  }
};

using DaoNavigation = kivtest::OnBothEngines;
KIV_ON_BOTH_ENGINES(DaoNavigation);

}  // namespace

TEST_P(DaoNavigation, IndexOrderBothWays) {
  Indexed t(GetParam());
  EXPECT_EQ(t.Forward(), u"cbnxaD");  // the table's own order
  t.rs->Index(u"K");
  EXPECT_EQ(t.rs->Index(), u"K");
  EXPECT_EQ(t.Name(), u"n");  // setting the index moves to its first record: Null sorts first
  EXPECT_EQ(t.Forward(), u"nbaxcD");
  EXPECT_EQ(t.Backward(), u"Dcxabn");
  t.rs->Index(u"KNAME");  // NAME descending within K, text without case
  EXPECT_EQ(t.Forward(), u"nbaxcD");
  EXPECT_EQ(t.Backward(), u"Dcxabn");
  t.rs->Index(u"name");
  EXPECT_EQ(t.Forward(), u"abcDnx");
  EXPECT_EQ(t.rs->RecordCount(), 6);

  // Moving on from a deleted record continues in index order.
  t.rs->Index(u"K");
  t.rs->Seek(u"=", Variant(int32_t{20}));
  t.rs->Delete();
  t.rs->MoveNext();
  EXPECT_EQ(t.Name(), u"c");
  t.rs->Seek(u"=", Variant(int32_t{30}));
  t.rs->Delete();
  t.rs->MovePrevious();
  EXPECT_EQ(t.Name(), u"a");
  EXPECT_EQ(t.rs->RecordCount(), 4);

  EXPECT_EQ(ErrorRaisedBy([&] { t.rs->Index(u"NOPE"); }),
            Raised(3800, u"'NOPE' is not an index in this table."));
  t.rs->MoveFirst();
  t.rs->Move(2);
  EXPECT_EQ(t.Name(), u"a");
  t.rs->Move(-1);
  EXPECT_EQ(t.Name(), u"b");
}

TEST_P(DaoNavigation, SeekEveryComparison) {
  Indexed t(GetParam());
  EXPECT_EQ(NumberRaisedBy([&] { t.rs->Seek(u"=", Variant(int32_t{10})); }), 3019);
  t.rs->Index(u"K");
  struct Case {
    const char16_t* op;
    int32_t key;
    const char16_t* found;  // nullptr: NoMatch
  };
  const Case cases[] = {
      {u"=", 10, u"b"}, {u"=", 15, nullptr}, {u">=", 15, u"x"},    {u">=", 20, u"x"},
      {u">", 20, u"c"}, {u">", 40, nullptr}, {u"<=", 25, u"x"},    {u"<=", 10, u"a"},
      {u"<", 20, u"a"}, {u"<", 10, nullptr}, {u">=", 41, nullptr}, {u"<=", 100, u"D"},
  };
  for (const Case& c : cases) {
    t.rs->Seek(c.op, Variant(c.key));
    SCOPED_TRACE(ToUtf8(c.op) + " " + std::to_string(c.key));
    ASSERT_EQ(t.rs->NoMatch(), c.found == nullptr);
    if (c.found) {
      EXPECT_EQ(t.Name(), c.found);
    }
  }
  // Two keys on a (K, NAME descending) index, and text without case.
  t.rs->Index(u"KNAME");
  t.rs->Seek(u"=", Variant(int32_t{10}), Variant(u"A"));
  EXPECT_EQ(t.Name(), u"a");
  t.rs->Seek(u">", Variant(int32_t{10}), Variant(u"b"));  // after "b" in this order comes "a"
  EXPECT_EQ(t.Name(), u"a");
  t.rs->Seek(u"<", Variant(int32_t{20}), Variant(u"x"));
  EXPECT_EQ(t.Name(), u"a");
  t.rs->Seek(u">=", Variant(int32_t{10}));  // one key of two: the first record with K >= 10
  EXPECT_EQ(t.Name(), u"b");
  t.rs->Index(u"NAME");
  t.rs->Seek(u"=", Variant(u"d"));
  EXPECT_EQ(t.Name(), u"D");
  EXPECT_EQ(NumberRaisedBy([&] { t.rs->Seek(u"<>", Variant(u"d")); }), 3001);
  EXPECT_EQ(NumberRaisedBy([&] { t.rs->Seek(u"=", Variant(u"d"), Variant(u"e")); }), 3001);
  // A Seek that finds nothing leaves no current record.
  t.rs->Seek(u"=", Variant(u"zz"));
  EXPECT_EQ(NumberRaisedBy([&] { t.rs->Fields()[u"K"]->Value(); }), 3021);
}

TEST_P(DaoNavigation, Bookmarks) {
  Indexed t(GetParam());
  t.rs->Index(u"K");
  t.rs->Seek(u"=", Variant(int32_t{30}));
  const Variant mark = t.rs->Bookmark();
  EXPECT_EQ(mark.Type(), vbArray | vbByte);
  t.rs->MoveFirst();
  t.rs->Bookmark(mark);
  EXPECT_EQ(t.Name(), u"c");
  t.rs->MoveNext();  // navigation goes on from the bookmarked record in index order
  EXPECT_EQ(t.Name(), u"D");

  t.rs->Bookmark(mark);
  t.rs->Delete();
  t.rs->MoveFirst();
  EXPECT_EQ(RaisedBy([&] { t.rs->Bookmark(mark); })->number, 3167);
  auto e = RaisedBy([&] { t.rs->Bookmark(Variant(u"junk")); });
  ASSERT_TRUE(e);
  EXPECT_EQ(e->description, u"Not a valid bookmark.");
  t.rs->MoveLast();
  t.rs->MoveNext();
  EXPECT_EQ(NumberRaisedBy([&] { t.rs->Bookmark(); }), 3021);
}
