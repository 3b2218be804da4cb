// Creating, opening and describing databases.
#include <gtest/gtest.h>

#include <fstream>

#include "dao/dao_test_util.h"

using namespace kiv;
using namespace kiv::dao;
using kivtest::ErrorRaisedBy;
using kivtest::NumberRaisedBy;
using kivtest::Raised;
using kivtest::RaisedBy;
using kivtest::TextField;

namespace {

// The two tables of the database event log, built as that log builds them.
void CreateLogSchema(Database& db) {
  auto parms = db.CreateTableDef(u"PARMS");
  parms->Fields().Append(TextField(*parms, u"KEY"));
  parms->Fields().Append(TextField(*parms, u"VALUE"));
  auto key = parms->CreateIndex(u"KEY");
  auto key_field = key->CreateField(u"KEY");
  key_field->Attributes(2);
  key->Fields().Append(key_field);
  parms->Indexes().Append(key);
  db.TableDefs().Append(parms);

  auto events = db.CreateTableDef(u"EVENTS");
  events->Fields().Append(events->CreateField(u"DATE", dbDate));
  events->Fields().Append(events->CreateField(u"TYPE", dbLong));
  events->Fields().Append(TextField(*events, u"CATEGORY"));
  events->Fields().Append(events->CreateField(u"ID", dbLong));
  auto raw = events->CreateField(u"RAWDATA", dbLongBinary);
  raw->Attributes(34);
  events->Fields().Append(raw);
  kivtest::AddIndex(*events, u"DATE", u"DATE");
  db.TableDefs().Append(events);
}

}  // namespace

TEST(DaoSchema, LogSchemaSurvivesReopen) {
  kivtest::TempFolder dir;
  const String name = dir.File("log.mdb");
  auto db = kivtest::Engine()->CreateDatabase(name, dbLangGeneral, dbVersion30);
  CreateLogSchema(*db);
  db->Close();

  db = kivtest::Engine()->OpenDatabase(name, false, false);
  TableDefs& tables = db->TableDefs();
  ASSERT_EQ(tables.Count(), 2);
  EXPECT_EQ(tables.Item(0)->Name(), u"PARMS");
  EXPECT_EQ(tables.Item(1)->Name(), u"EVENTS");

  auto events = tables[u"events"];  // names compare without case
  Fields& fields = events->Fields();
  ASSERT_EQ(fields.Count(), 5);
  EXPECT_EQ(fields.Item(0)->Type(), dbDate);
  EXPECT_EQ(fields.Item(0)->Size(), 8);
  EXPECT_EQ(fields[u"TYPE"]->Type(), dbLong);
  EXPECT_EQ(fields[u"TYPE"]->Size(), 4);
  EXPECT_EQ(fields[u"CATEGORY"]->Type(), dbText);
  EXPECT_EQ(fields[u"CATEGORY"]->Size(), 255);
  EXPECT_EQ(fields[u"CATEGORY"]->Attributes(), 34);
  EXPECT_TRUE(fields[u"CATEGORY"]->AllowZeroLength());
  EXPECT_EQ(fields[u"RAWDATA"]->Type(), dbLongBinary);
  EXPECT_EQ(fields[u"RAWDATA"]->Attributes(), 34);
  EXPECT_EQ(fields[u"ID"]->Attributes(), dbFixedField | dbUpdatableField);

  auto index = events->Indexes()[u"DATE"];
  EXPECT_FALSE(index->Primary());
  EXPECT_FALSE(index->Unique());
  ASSERT_EQ(index->Fields().Count(), 1);
  EXPECT_EQ(index->Fields().Item(0)->Name(), u"DATE");
  auto key = tables[u"PARMS"]->Indexes()[u"KEY"]->Fields().Item(0);
  EXPECT_EQ(key->Name(), u"KEY");
  // An index field's Attributes come back as they were created, not as the column's.
  EXPECT_EQ(key->Attributes(), 2);
  EXPECT_EQ(index->Fields().Item(0)->Attributes(), 0);

  EXPECT_EQ(NumberRaisedBy([&] { tables[u"NOPE"]; }), 3265);
  EXPECT_EQ(RaisedBy([&] { tables.Item(2); })->description, u"Item not found in this collection.");
  // A stored field's definition is fixed.
  EXPECT_EQ(NumberRaisedBy([&] { fields[u"TYPE"]->Size(10); }), 3219);
}

TEST(DaoSchema, OpenAndCreateFailures) {
  kivtest::TempFolder dir;
  const String name = dir.File("a.mdb");
  EXPECT_EQ(ErrorRaisedBy([&] { kivtest::Engine()->OpenDatabase(name); }),
            Raised(3024, u"Could not find file '" + name + u"'."));

  kivtest::Engine()->CreateDatabase(name, dbLangGeneral)->Close();
  EXPECT_EQ(ErrorRaisedBy([&] { kivtest::Engine()->CreateDatabase(name, dbLangGeneral); }),
            Raised(3204, u"Database already exists."));

  const String junk = dir.File("junk.mdb");
  std::ofstream(ToUtf8(junk)) << std::string(4096, 'x');
  EXPECT_EQ(ErrorRaisedBy([&] { kivtest::Engine()->OpenDatabase(junk); }),
            Raised(3343, u"Unrecognized database format '" + junk + u"'."));

  auto db = kivtest::Engine()->OpenDatabase(name);
  EXPECT_EQ(
      ErrorRaisedBy([&] { db->OpenRecordset(u"MISSING", dbOpenTable); }),
      Raised(3078,
             u"The Microsoft Jet database engine cannot find the input table or query 'MISSING'.  "
             u"Make sure it exists and that its name is spelled correctly."));

  auto t = db->CreateTableDef(u"T");
  EXPECT_EQ(NumberRaisedBy([&] { db->TableDefs().Append(t); }), 3264);  // no fields
  t->Fields().Append(t->CreateField(u"A", dbLong));
  EXPECT_EQ(NumberRaisedBy([&] { t->Fields().Append(t->CreateField(u"a", dbLong)); }), 3367);
  EXPECT_EQ(NumberRaisedBy([&] { t->CreateField(u"B", 99); }), 3259);
  db->TableDefs().Append(t);
  EXPECT_EQ(NumberRaisedBy([&] { db->TableDefs().Append(db->CreateTableDef(u"t")); }), 3367);

  // A field and an index appended to a stored table change the table at once.
  auto stored = db->TableDefs()[u"T"];
  stored->Fields().Append(stored->CreateField(u"B", dbText, 10));
  auto ix = stored->CreateIndex(u"BA");
  ix->Fields(u"B;-A");
  ix->Unique(true);
  stored->Indexes().Append(ix);
  auto reread = db->TableDefs()[u"T"];
  EXPECT_EQ(reread->Fields()[u"B"]->Size(), 10);
  auto back = reread->Indexes()[u"BA"];
  EXPECT_TRUE(back->Unique());
  ASSERT_EQ(back->Fields().Count(), 2);
  EXPECT_EQ(back->Fields().Item(0)->Attributes(), 0);
  EXPECT_EQ(back->Fields().Item(1)->Attributes(), dbDescending);
  // Attributes beyond the direction are kept too, and such an index can still be dropped.
  auto mixed = stored->CreateIndex(u"MIXED");
  auto a = mixed->CreateField(u"A");
  a->Attributes(dbDescending | dbVariableField);
  mixed->Fields().Append(a);
  auto b = mixed->CreateField(u"B");
  b->Attributes(dbVariableField);
  mixed->Fields().Append(b);
  stored->Indexes().Append(mixed);
  auto mixed_back = db->TableDefs()[u"T"]->Indexes()[u"MIXED"];
  EXPECT_EQ(mixed_back->Fields().Item(0)->Attributes(), dbDescending | dbVariableField);
  EXPECT_EQ(mixed_back->Fields().Item(1)->Attributes(), dbVariableField);
  EXPECT_FALSE(mixed_back->Unique());
  db->TableDefs()[u"T"]->Indexes().Delete(u"MIXED");
  EXPECT_EQ(db->TableDefs()[u"T"]->Indexes().Count(), 1);
  db->TableDefs().Delete(u"T");
  EXPECT_EQ(db->TableDefs().Count(), 0);
}

TEST(DaoSchema, ClosedObjectsFailCleanly) {
  kivtest::TempFolder dir;
  auto db = kivtest::Engine()->CreateDatabase(dir.File("c.mdb"), dbLangGeneral);
  auto t = db->CreateTableDef(u"T");
  t->Fields().Append(t->CreateField(u"A", dbLong));
  db->TableDefs().Append(t);
  auto rs = db->OpenRecordset(u"T", dbOpenTable);
  auto field = rs->Fields()[u"A"];
  rs->Close();
  EXPECT_EQ(ErrorRaisedBy([&] { rs->MoveNext(); }),
            Raised(3420, u"Object invalid or no longer set."));
  EXPECT_EQ(NumberRaisedBy([&] { field->Value(); }), 3420);
  EXPECT_EQ(NumberRaisedBy([&] { rs->Close(); }), 3420);

  auto rs2 = db->OpenRecordset(u"T", dbOpenDynaset);
  db->Close();
  EXPECT_EQ(NumberRaisedBy([&] { rs2->RecordCount(); }), 3420);
  EXPECT_EQ(NumberRaisedBy([&] { rs2->AddNew(); }), 3420);
  EXPECT_EQ(NumberRaisedBy([&] { db->TableDefs(); }), 3420);
  EXPECT_EQ(NumberRaisedBy([&] { db->OpenRecordset(u"T"); }), 3420);
  EXPECT_EQ(NumberRaisedBy([&] { t->Fields().Count(); }), 3420);
}
