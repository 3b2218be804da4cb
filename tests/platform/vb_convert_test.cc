// Variant conversions with the run time's rules, under each locale rule.
#include "platform/vb_convert.h"

#include <gtest/gtest.h>

#include <cmath>

#include "frame/error.h"
#include "platform/date.h"
#include "platform/locale.h"
#include "platform/text_codec.h"
#include "support/raised.h"

namespace kiv {
namespace {

using kivtest::NumberRaisedBy;

class LocaleScope {
 public:
  explicit LocaleScope(LocaleKind k) { SetLocale(k); }
  ~LocaleScope() { SetLocale(LocaleKind::Iso); }
};

TEST(VbConvert, IntegerConversionsRoundHalfToEvenAndOverflow) {
  EXPECT_EQ(CInt(Variant(2.5)), 2);
  EXPECT_EQ(CInt(Variant(3.5)), 4);
  EXPECT_EQ(CInt(Variant(-2.5)), -2);
  EXPECT_EQ(CInt(Variant(0.5)), 0);
  EXPECT_EQ(CInt(Variant(1.5)), 2);
  EXPECT_EQ(CLng(Variant(2147483647.4)), 2147483647);
  EXPECT_EQ(CLng(Variant(u" -12 ")), -12);
  EXPECT_EQ(CLng(Variant(u"&HFFFF")), -1);  // 16-bit hex literal
  EXPECT_EQ(CLng(Variant(u"&H10000")), 65536);
  EXPECT_EQ(CLng(Variant(true)), -1);
  EXPECT_EQ(CLng(Variant()), 0);  // Empty
  EXPECT_EQ(NumberRaisedBy([] { CInt(Variant(32767.5)); }), 6);
  EXPECT_EQ(NumberRaisedBy([] { CInt(Variant(-32768.6)); }), 6);
  EXPECT_EQ(NumberRaisedBy([] { CLng(Variant(2147483647.5)); }), 6);
  EXPECT_EQ(NumberRaisedBy([] { CByte(Variant(int32_t{-1})); }), 6);
  EXPECT_EQ(NumberRaisedBy([] { CLng(Variant(u"12abc")); }), 13);
  EXPECT_EQ(NumberRaisedBy([] { CLng(Variant(u"")); }), 13);
  EXPECT_EQ(NumberRaisedBy([] { CLng(Variant::Null()); }), 94);
  EXPECT_EQ(CCur(Variant(1.23456)).scaled, 12346);
  EXPECT_EQ(CCur(Variant(-1.23456)).scaled, -12346);
}

// The fast path for plain digits gives what the full conversion gives, in every locale, and
// leaves every other text to it.
TEST(VbConvert, PlainDecimalAgreesWithTheFullConversion) {
  for (LocaleKind kind : {LocaleKind::Iso, LocaleKind::Italian, LocaleKind::English}) {
    LocaleScope scope(kind);
    for (const char16_t* text : {u"0", u"7", u"-5", u"-0", u"007", u"123456789", u"-123456789"}) {
      auto fast = PlainDecimal(text);
      ASSERT_TRUE(fast.has_value()) << ToUtf8(text);
      EXPECT_EQ(*fast, CLng(Variant(String(text)))) << ToUtf8(text);
    }
    for (const char16_t* text : {u"1234567890", u"-", u"+5", u" 5", u"5 ", u"1.5", u"1,5", u"&H10",
                                 u"", u"12a", u"--1", u"\u0661"}) {
      EXPECT_FALSE(PlainDecimal(text).has_value()) << ToUtf8(text);
    }
  }
  EXPECT_EQ(PlainDecimal(u"2024", 4), 2024);
  EXPECT_FALSE(PlainDecimal(u"12345", 4).has_value());
}

TEST(VbConvert, NumbersHonourTheLocaleRule) {
  EXPECT_EQ(CStr(Variant(1.5)), u"1.5");
  EXPECT_EQ(CStr(Variant(0.1)), u"0.1");
  EXPECT_EQ(CStr(Variant(1e20)), u"1E+20");
  EXPECT_EQ(CStr(Variant(float(0.1f))), u"0.1");
  EXPECT_EQ(CStr(Variant(Currency{-12345})), u"-1.2345");
  EXPECT_EQ(CStr(Variant(Currency{20000})), u"2");
  EXPECT_DOUBLE_EQ(CDbl(Variant(u"1,234.5")), 1234.5);
  EXPECT_FALSE(IsNumericText(u"1,5.0.0"));
  {
    LocaleScope it(LocaleKind::Italian);
    EXPECT_EQ(CStr(Variant(1.5)), u"1,5");
    EXPECT_DOUBLE_EQ(CDbl(Variant(u"1.234,5")), 1234.5);
    EXPECT_TRUE(Variant(u"3,25").IsNumeric());
    EXPECT_FALSE(Variant(u"3,2,5").IsNumeric());
  }
  EXPECT_TRUE(Variant(u" 1e3 ").IsNumeric());
  EXPECT_TRUE(Variant().IsNumeric());  // Empty is numeric, as the run time says
  EXPECT_FALSE(Variant::Null().IsNumeric());
  EXPECT_FALSE(Variant(u"abc").IsNumeric());
  EXPECT_EQ(CStr(Variant(true)), u"True");
  EXPECT_TRUE(CBool(Variant(u"true")));
  EXPECT_FALSE(CBool(Variant(u"0")));
  EXPECT_EQ(NumberRaisedBy([] { CBool(Variant(u"maybe")); }), 13);
}

TEST(VbConvert, VariantAccessorsNeverThrow) {
  EXPECT_EQ(Variant(u"x").ToLong(), std::nullopt);
  EXPECT_EQ(Variant(70000.0).ToInteger(), std::nullopt);
  EXPECT_EQ(Variant(u"42").ToLong(), 42);
  EXPECT_TRUE(Variant::Missing().IsMissing());
  EXPECT_EQ(Variant::Missing().Type(), vbError);
  EXPECT_EQ(Variant(std::vector<uint8_t>{1, 2}).Type(), vbArray | vbByte);
  EXPECT_FALSE(Variant(int16_t{1}) == Variant(int32_t{1}));  // identity includes the type
}

TEST(Dates, FieldsAndDayDifferences) {
  EXPECT_EQ(DateSerial(1899, 12, 30), 0);
  EXPECT_EQ(DateSerial(2024, 3, 5), 45356);
  EXPECT_EQ(DateSerial(2024, 13, 1), DateSerial(2025, 1, 1));  // months roll over
  EXPECT_EQ(DateSerial(1900, 1, 1), 2);
  EXPECT_EQ(DateSerial(100, 1, 1), kMinDate);
  EXPECT_EQ(DateSerial(9999, 12, 31), std::trunc(kMaxDate));
  EXPECT_EQ(DateSerial(2000, -24, 1), DateSerial(1997, 12, 1));
  EXPECT_EQ(DateSerial(2000, 3, 0), DateSerial(2000, 2, 29));
  EXPECT_EQ(DateSerial(10000, 1, -1), 2958464);  // a year past the range, brought back by days
  DateParts p = SplitDate(45356.75);
  EXPECT_EQ(p.year, 2024);
  EXPECT_EQ(p.month, 3);
  EXPECT_EQ(p.day, 5);
  EXPECT_EQ(p.hour, 18);
  // Before 1899-12-30 the fraction still counts forwards from midnight.
  p = SplitDate(-1.25);
  EXPECT_EQ(p.day, 29);
  EXPECT_EQ(p.hour, 6);
  EXPECT_EQ(DateDiffDays(45356.99, 45357.01), 1);
  EXPECT_EQ(DateDiffDays(45356.01, 45356.99), 0);
  EXPECT_EQ(DateDiffDays(45357.5, 45350.0), -7);
  EXPECT_EQ(FormatYYYYMMDD(DateSerial(2024, 3, 5)), u"20240305");
  EXPECT_EQ(FormatIsoDateTime(DateSerial(2024, 3, 5) + 0.5), u"2024-03-05 12:00:00");
  // 23:59:59.6 rounds to the next day's midnight.
  EXPECT_EQ(FormatIsoDateTime(45356 + 86399.6 / 86400), u"2024-03-06 00:00:00");
}

TEST(Dates, GeneralDateTextAndParsingPerLocale) {
  const Date d = MakeDate({2024, 3, 5, 14, 3, 7});
  const Date midnight = DateSerial(2024, 3, 5);
  const Date time_only = MakeDate({1899, 12, 30, 9, 5, 0});
  struct Case {
    LocaleKind kind;
    const char16_t *full, *date_only, *time_only, *day_zero;
  } cases[] = {
      {LocaleKind::Iso, u"2024-03-05 14:03:07", u"2024-03-05", u"09:05:00", u"1899-12-30"},
      {LocaleKind::Italian, u"05/03/2024 14:03:07", u"05/03/2024", u"09:05:00", u"30/12/1899"},
      {LocaleKind::English, u"3/5/2024 2:03:07 PM", u"3/5/2024", u"9:05:00 AM", u"12/30/1899"},
  };
  for (const Case& c : cases) {
    LocaleScope scope(c.kind);
    SCOPED_TRACE(ToUtf8(c.full));
    EXPECT_EQ(GeneralDate(d), c.full);
    EXPECT_EQ(GeneralDate(midnight), c.date_only);
    EXPECT_EQ(GeneralDate(time_only), String(c.day_zero) + u" " + c.time_only);
    Date back = -1;
    ASSERT_TRUE(ParseDate(c.full, back));
    EXPECT_EQ(back, d);
    ASSERT_TRUE(ParseDate(c.date_only, back));
    EXPECT_EQ(back, midnight);
    ASSERT_TRUE(ParseDate(c.time_only, back));
    EXPECT_EQ(back, time_only);
    // ISO is understood in every locale.
    ASSERT_TRUE(ParseDate(u"2024-03-05 14:03:07", back));
    EXPECT_EQ(back, d);
    EXPECT_EQ(GeneralDate(0), c.day_zero);
    ASSERT_TRUE(ParseDate(GeneralDate(0), back));
    EXPECT_EQ(back, 0);
  }
  LocaleScope it(LocaleKind::Italian);
  Date out;
  EXPECT_TRUE(ParseDate(u"31/12/99", out));  // two-digit years 30..99 are 19xx
  EXPECT_EQ(SplitDate(out).year, 1999);
  EXPECT_FALSE(ParseDate(u"31/02/2024", out));
  EXPECT_FALSE(ParseDate(u"12/31/2024", out));  // month 31 in the Italian order
  EXPECT_FALSE(ParseDate(u"2024-03-05 25:00:00", out));
  EXPECT_FALSE(ParseDate(u"hello", out));
  EXPECT_FALSE(ParseDate(u"", out));
  EXPECT_TRUE(Variant(u"05/03/2024").IsDate());
  EXPECT_FALSE(Variant(u"5").IsDate());
}

}  // namespace
}  // namespace kiv
