// KivLogFilter: every check, the case rules, the list forms and CopyTo.
#include "kivdbxt/kiv_log_filter.h"

#include <gtest/gtest.h>

#include "platform/date.h"

namespace kiv {
namespace {

std::shared_ptr<KivLogEvent> Event() {
  auto e = std::make_shared<KivLogEvent>();
  e->EvDate(MakeDate({2024, 1, 2, 0, 0, 0}));
  e->EvType(EVENTLOG_WARNING_TYPE);
  e->EvCategory(u"DISK");
  e->EvId(258);
  e->EvUser(u"Mario");
  e->EvComputer(u"PC1");
  e->EvSource(u"App");
  e->EvServer(u"Srv");
  e->EvRawData(u"Disk ERROR 5");
  return e;
}

std::vector<String> Texts(const std::shared_ptr<Collection>& c) {
  std::vector<String> out;
  for (int32_t i = 1; i <= c->Count(); ++i) out.push_back(c->Item(Variant(i)).StringValue());
  return out;
}

std::vector<int32_t> Numbers(const std::shared_ptr<Collection>& c) {
  std::vector<int32_t> out;
  for (int32_t i = 1; i <= c->Count(); ++i) {
    out.push_back(static_cast<int32_t>(c->Item(Variant(i)).IntValue()));
  }
  return out;
}

TEST(KivLogFilter, NoChecksPassesEverythingAndEnabledEmptyListsFailEverything) {
  KivLogFilter f;
  f.CategoriesAdd(u"nothing like it");
  EXPECT_TRUE(f.IsValid(Event()));
  EXPECT_TRUE(f.IsValid(std::shared_ptr<KivLogEvent>()));  // checks 0 looks at nothing
  for (int32_t check : {LGFF_CHECKTYPE, LGFF_CHECKID, LGFF_CHECKUSER, LGFF_CHECKCOMPUTER,
                        LGFF_CHECKSOURCE, LGFF_CHECKSERVER, LGFF_CHECKRAWDATA}) {
    KivLogFilter empty;
    empty.Checks(check);
    EXPECT_FALSE(empty.IsValid(Event())) << check;
  }
  KivLogFilter dates;
  dates.Checks(LGFF_CHECKDATE);
  EXPECT_FALSE(dates.IsValid(Event()));
  auto zero = Event();
  zero->EvDate(0);
  EXPECT_TRUE(dates.IsValid(zero));  // dates 0 and 0 pass only events dated exactly 0
}

TEST(KivLogFilter, EachCheckSelects) {
  auto e = Event();
  struct Case {
    int32_t check;
    void (*pass)(KivLogFilter&);
    void (*fail)(KivLogFilter&);
  } cases[] = {
      {LGFF_CHECKTYPE,
       [](KivLogFilter& f) {
         f.TypesAdd(1);
         f.TypesAdd(2);
       },
       [](KivLogFilter& f) { f.TypesAdd(6); }},  // a list of values, not a bit mask
      {LGFF_CHECKID, [](KivLogFilter& f) { f.IdsAdd(258); }, [](KivLogFilter& f) { f.IdsAdd(2); }},
      {LGFF_CHECKUSER, [](KivLogFilter& f) { f.UsersAdd(u"mario"); },
       [](KivLogFilter& f) { f.UsersAdd(u"Mari"); }},
      {LGFF_CHECKCOMPUTER, [](KivLogFilter& f) { f.ComputersAdd(u"pc1"); },
       [](KivLogFilter& f) { f.ComputersAdd(u"PC"); }},
      {LGFF_CHECKSOURCE, [](KivLogFilter& f) { f.SourcesAdd(u"APP"); },
       [](KivLogFilter& f) { f.SourcesAdd(u"Apps"); }},
      {LGFF_CHECKSERVER, [](KivLogFilter& f) { f.ServersAdd(u"SRV"); },
       [](KivLogFilter& f) { f.ServersAdd(u"rv"); }},
      {LGFF_CHECKCATEGORY, [](KivLogFilter& f) { f.CategoriesAdd(u"Disk"); },
       [](KivLogFilter& f) { f.CategoriesAdd(u"Dis"); }},
      {LGFF_CHECKRAWDATA,
       [](KivLogFilter& f) {
         f.RawDatasAdd(u"zzz");
         f.RawDatasAdd(u"err");
       },
       [](KivLogFilter& f) { f.RawDatasAdd(u"error 6"); }},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.check);
    KivLogFilter pass, fail;
    pass.Checks(c.check);
    fail.Checks(c.check);
    c.pass(pass);
    c.fail(fail);
    EXPECT_TRUE(pass.IsValid(e));
    EXPECT_FALSE(fail.IsValid(e));
  }
}

TEST(KivLogFilter, DateBoundsAreInclusiveFullValues) {
  KivLogFilter f;
  f.Checks(LGFF_CHECKDATE);
  f.DateStart(DateSerial(2024, 1, 1));
  f.DateEnd(DateSerial(2024, 1, 2));
  auto e = Event();
  e->EvDate(DateSerial(2024, 1, 2));
  EXPECT_TRUE(f.IsValid(e));
  e->EvDate(MakeDate({2024, 1, 2, 0, 1, 0}));
  EXPECT_FALSE(f.IsValid(e));
  e->EvDate(DateSerial(2024, 1, 1));
  EXPECT_TRUE(f.IsValid(e));
  e->EvDate(MakeDate({2023, 12, 31, 23, 59, 59}));
  EXPECT_FALSE(f.IsValid(e));
}

TEST(KivLogFilter, ListQuirksAndTokenBoundaries) {
  auto e = Event();
  e->EvCategory(u"");
  KivLogFilter one;
  one.Checks(LGFF_CHECKCATEGORY);
  one.CategoriesAdd(u"A");
  EXPECT_FALSE(one.IsValid(e));
  one.CategoriesAdd(u"B");  // two stored items put two NULs side by side: the empty value
  EXPECT_TRUE(one.IsValid(e));

  KivLogFilter raw;
  raw.Checks(LGFF_CHECKRAWDATA);
  raw.RawDatasAdd(u"err");
  auto empty_raw = Event();
  empty_raw->EvRawData(u"");
  EXPECT_FALSE(raw.IsValid(empty_raw));
  raw.RawDatasAdd(u"");  // an empty item matches any raw data
  EXPECT_TRUE(raw.IsValid(empty_raw));

  // Ids 0x00000100 then 0x00020000 hold the bytes 00 01 00 00 | 00 00 02 00: the token of 0x100
  // (bytes 00 01 00 00) must not be found straddling them, nor 0x200 (00 02 00 00).
  KivLogFilter ids;
  ids.Checks(LGFF_CHECKID);
  ids.IdsAdd(0x01000000);
  ids.IdsAdd(0x00000002);
  auto straddle = Event();
  straddle->EvId(0x00000201);  // bytes 01 02 00 00 would sit at position 4 of the string
  EXPECT_FALSE(ids.IsValid(straddle));
  straddle->EvId(2);
  EXPECT_TRUE(ids.IsValid(straddle));
  ids.IdsAdd(-1);
  straddle->EvId(-1);
  EXPECT_TRUE(ids.IsValid(straddle));
}

TEST(KivLogFilter, AddsKeepOneOfEachExactlyAndReadsReturnNewCollections) {
  KivLogFilter f;
  f.CategoriesAdd(u"x");
  f.CategoriesAdd(u"x");
  f.CategoriesAdd(u"X");  // exact comparison on add
  f.CategoriesAdd(u"");   // its stored form, two NULs, already stands between "x" and "X"
  EXPECT_EQ(Texts(f.Categories()), (std::vector<String>{u"x", u"X"}));
  KivLogFilter only_empty;
  only_empty.UsersAdd(u"");
  only_empty.UsersAdd(u"y");
  EXPECT_EQ(Texts(only_empty.Users()), (std::vector<String>{u"", u"y"}));
  f.TypesAdd(4);
  f.TypesAdd(1);
  f.TypesAdd(4);
  f.IdsAdd(-7);
  f.IdsAdd(2147483647);
  EXPECT_EQ(Numbers(f.Types()), (std::vector<int32_t>{4, 1}));
  EXPECT_EQ(Numbers(f.Ids()), (std::vector<int32_t>{-7, 2147483647}));
  auto c = f.Categories();
  c->Clear();
  EXPECT_EQ(f.Categories()->Count(), 2);  // changing a read-out changes nothing
  f.CategoriesClear();
  EXPECT_EQ(f.Categories()->Count(), 0);
  f.TypesClear();
  EXPECT_EQ(f.Types()->Count(), 0);
}

TEST(KivLogFilter, CopyToCopiesEveryField) {
  KivLogFilter f;
  f.Checks(LGFF_CHECKDATE | LGFF_CHECKRAWDATA);
  f.DateStart(1.5);
  f.DateEnd(2.5);
  f.TypesAdd(2);
  f.IdsAdd(9);
  f.CategoriesAdd(u"c1");
  f.CategoriesAdd(u"c2");
  f.UsersAdd(u"u");
  f.ComputersAdd(u"k");
  f.SourcesAdd(u"s");
  f.ServersAdd(u"v");
  f.RawDatasAdd(u"r");
  auto t = std::make_shared<KivLogFilter>();
  t->UsersAdd(u"old");
  EXPECT_FALSE(f.CopyTo(t));
  EXPECT_EQ(t->Checks(), f.Checks());
  EXPECT_EQ(t->DateStart(), 1.5);
  EXPECT_EQ(t->DateEnd(), 2.5);
  EXPECT_EQ(Numbers(t->Types()), Numbers(f.Types()));
  EXPECT_EQ(Numbers(t->Ids()), Numbers(f.Ids()));
  EXPECT_EQ(Texts(t->Categories()), (std::vector<String>{u"c1", u"c2"}));
  EXPECT_EQ(Texts(t->Users()), (std::vector<String>{u"u"}));  // replaced whole, not merged
  EXPECT_EQ(Texts(t->Computers()), Texts(f.Computers()));
  EXPECT_EQ(Texts(t->Sources()), Texts(f.Sources()));
  EXPECT_EQ(Texts(t->Servers()), Texts(f.Servers()));
  EXPECT_EQ(Texts(t->RawDatas()), Texts(f.RawDatas()));
}

}  // namespace
}  // namespace kiv
