// Field typing, validation, SQL arguments and field values.
#include <gtest/gtest.h>

#include "dao/dao_test_util.h"
#include "kivdbxt/error.h"
#include "kivdbxt/qv_db_xt.h"
#include "platform/locale.h"
#include "support/last_error.h"

using namespace kiv;
using namespace kiv::dao;
using kivtest::LastRecorded;
using kivtest::Recorded;
namespace M = kiv::QvDbXtMod;

TEST(FieldTyping, QueryArguments) {
  EXPECT_EQ(M::Query_Argument(u"O'Brien", dbText), u"'O''Brien'");
  EXPECT_EQ(M::Query_Argument(u"'", dbText), u"''''");
  EXPECT_EQ(M::Query_Argument(u"a''b", dbText), u"'a''''b'");
  EXPECT_EQ(M::Query_Argument(u"12.5", dbDouble), u"12.5");
  EXPECT_EQ(M::Query_Argument(u"2023-12-25 10:30:05", dbDate),
            u"CONVERT(DATETIME, '2023-12-25 10:30:05', 102)");
  SetLocale(LocaleKind::Italian);  // dd/mm/yyyy with its own separators
  const String italian = M::Query_Argument(u"25/12/2023 10:30:05", dbDate);
  SetLocale(LocaleKind::Iso);
  EXPECT_EQ(italian, u"CONVERT(DATETIME, '2023-12-25 10:30:05', 102)");
  Set_Error(Variant(int32_t{7}), Variant(u"before"));
  EXPECT_EQ(M::Query_Argument(u"no date", dbDate), u"CONVERT(DATETIME, '', 102)");
  EXPECT_EQ(Last_Error(), 7);  // records nothing
}

TEST(FieldTyping, SizesLengthsAlignmentAndTypeChecks) {
  EXPECT_EQ(M::Field_Size(dbText, 0), 20);
  EXPECT_EQ(M::Field_Size(dbText, 50), 50);
  EXPECT_EQ(M::Field_Size(dbMemo, 0), 0);
  EXPECT_EQ(M::Field_Size(dbLongBinary, 0), 0);
  EXPECT_EQ(M::Field_Size(dbCurrency, 0), 8);
  EXPECT_EQ(M::Field_Size(dbInteger, 0), 2);
  EXPECT_EQ(M::Field_Lenght(dbLong, 0), 11);
  EXPECT_EQ(M::Field_Lenght(dbSingle, 0), 13);
  EXPECT_EQ(M::Field_Lenght(dbText, 35), 35);
  EXPECT_EQ(M::Field_Align(dbByte), 3);
  EXPECT_EQ(M::Field_Align(dbDouble), 4);
  EXPECT_EQ(M::Field_Align(dbDate), 3);

  EXPECT_TRUE(M::Type_StrCheck(u"123", dbInteger));
  EXPECT_FALSE(M::Type_StrCheck(u"70000", dbInteger));
  EXPECT_TRUE(M::Type_StrCheck(u"70000", dbLong));
  EXPECT_FALSE(M::Type_StrCheck(u"12a", dbDouble));
  EXPECT_FALSE(M::Type_StrCheck(u"256", dbByte));
  EXPECT_TRUE(M::Type_StrCheck(u"2024-02-29", dbDate));
  EXPECT_FALSE(M::Type_StrCheck(u"2023-02-29", dbDate));
  EXPECT_TRUE(M::Type_StrCheck(u"anything", dbText));
  EXPECT_TRUE(M::Type_StrCheck(u"anything", dbMemo));
}

TEST(FieldTyping, ValidateOutcomesAndConvert) {
  Variant f{u"   "}, p{u"x"};
  EXPECT_EQ(M::Field_Validate(f, p, dbText, -1, 0), 1);  // mandatory and empty
  f = Variant(u"  abc "), p = Variant(u"abd");
  EXPECT_EQ(M::Field_Validate(f, p, dbText, 0, -1), 2);  // changed
  EXPECT_EQ(f, Variant(u"ABC"));
  EXPECT_EQ(p, Variant(u"ABD"));
  f = Variant(u"abc"), p = Variant(u" ABC");
  EXPECT_EQ(M::Field_Validate(f, p, dbText, -1, -1), 0);
  f = Variant(u"12x"), p = Variant(u"");
  EXPECT_EQ(M::Field_Validate(f, p, dbLong, 0, 0), -1);  // not a number
  f = Variant(u"2024-03-01"), p = Variant(u"2024-03-01");
  EXPECT_EQ(M::Field_Validate(f, p, dbDate, 0, -1), 0);
  EXPECT_EQ(f.Type(), vbDate);
  f = Variant(std::vector<Variant>{Variant(1)});
  EXPECT_EQ(M::Field_Validate(f, p, dbText, 0, 0), -1);  // a value with no text: a failure
  EXPECT_EQ(LastRecorded(), Recorded(13, u"QvDbXtMod.FieldValidate"));

  EXPECT_EQ(M::Field_Convert(u" 42 ", dbText, dbLong), u"42");
  EXPECT_EQ(M::Field_Convert(u"4x2", dbText, dbLong), u"");
}

TEST(FieldTyping, FieldValuesThroughARecordset) {
  kivtest::TempFolder dir;
  auto db = kivtest::Engine()->CreateDatabase(dir.File("f.mdb"), dbLangGeneral);
  auto t = db->CreateTableDef(u"F");
  t->Fields().Append(t->CreateField(u"N", dbLong));
  t->Fields().Append(kivtest::TextField(*t, u"S", 5));
  t->Fields().Append(t->CreateField(u"M", dbMemo));
  db->TableDefs().Append(t);
  auto rs = db->OpenRecordset(u"F", dbOpenTable);
  auto n = rs->Fields()[u"N"], s = rs->Fields()[u"S"], m = rs->Fields()[u"M"];

  EXPECT_TRUE(M::Field_StrAssign(s, u"abcdefgh"));  // not editing
  EXPECT_EQ(LastRecorded(), Recorded(3020, u"QvDbXtMod.FieldStrAssign"));
  rs->AddNew();
  EXPECT_EQ(M::Field_TruncStr(s, u"abcdefgh"), u"abcde");
  EXPECT_EQ(M::Field_TruncStr(n, u"abcdefgh"), u"abcdefgh");
  EXPECT_FALSE(M::Field_StrAssign(s, u"abcdefgh"));
  EXPECT_FALSE(M::Field_ValueSet(m, Variant(u"memo text")));
  EXPECT_TRUE(M::Field_ValueSet(n, Variant(u"not a number")));
  EXPECT_EQ(LastRecorded(), Recorded(3421, u"QvDbXtMod.Field_ValueSet"));
  rs->Update();
  rs->MoveFirst();
  EXPECT_EQ(s->Value(), Variant(u"abcde"));
  EXPECT_EQ(m->Value(), Variant(u"memo text"));
  EXPECT_EQ(M::Field_Value(n), Variant(int32_t{0}));  // Null reads as 0 of the field's type
  rs->Edit();
  s->Value(Variant::Null());
  rs->Update();
  EXPECT_EQ(M::Field_Value(s), Variant(String()));
  rs->Close();
  Set_Error(Variant(int32_t{9}), Variant(u"kept"));
  EXPECT_TRUE(M::Field_Value(n).IsEmpty());
  EXPECT_EQ(Last_Error(), 9);  // Field_Value records nothing
}
