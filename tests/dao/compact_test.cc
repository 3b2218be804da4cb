// Compacting a database into a new file.
#include <gtest/gtest.h>

#include "dao/dao_test_util.h"
#include "platform/fs.h"

using namespace kiv;
using namespace kiv::dao;
using kivtest::NumberRaisedBy;

namespace {

// 100 rows left of 2,000 wide ones: most of the file is free pages.
std::shared_ptr<Database> FragmentedDb(const String& name) {
  auto db = kivtest::CountersDb(name);
  db->Execute(
      u"WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 2000) "
      u"INSERT INTO T SELECT i, printf('%.500c', 'x') FROM n",
      dbFailOnError);
  db->Execute(u"DELETE FROM T WHERE WHO > 100", dbFailOnError);
  return db;
}

}  // namespace

TEST(DaoCompact, CompactDatabaseShrinksAndKeepsRows) {
  kivtest::TempFolder dir;
  const String name = dir.File("big.mdb");
  auto db = FragmentedDb(name);
  db->Close();
  const String compacted = dir.File("small.mdb");
  kivtest::Engine()->CompactDatabase(name, compacted);
  EXPECT_LT(FileLength(compacted) * 4, FileLength(name));
  auto small = kivtest::Engine()->OpenDatabase(compacted);
  EXPECT_EQ(small->OpenRecordset(u"T", dbOpenTable)->RecordCount(), 100);
  EXPECT_EQ(small->TableDefs()[u"T"]->Indexes().Count(), 1);
  EXPECT_EQ(NumberRaisedBy([&] { kivtest::Engine()->CompactDatabase(name, compacted); }), 3204);
  EXPECT_EQ(NumberRaisedBy(
                [&] { kivtest::Engine()->CompactDatabase(dir.File("no.mdb"), dir.File("x")); }),
            3024);
}
