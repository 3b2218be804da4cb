// The text codecs: strict UTF-8 at the edges, Windows-1252 for the daily data files.
#include "platform/text_codec.h"

#include <gtest/gtest.h>

namespace kiv {
namespace {

TEST(Utf8, StrictDecoderRefusesOverlongFormsSurrogatesAndOutOfRange) {
  const std::string valid = "a\xc3\xa9\xe2\x98\x83\xf0\x9f\x98\x80\xf4\x8f\xbf\xbf\xef\xbf\xbf";
  EXPECT_TRUE(IsUtf8(valid));
  String out;
  ASSERT_TRUE(DecodeUtf8(valid, out));
  EXPECT_EQ(out, u"a\u00e9\u2603\U0001F600\U0010FFFF\uFFFF");
  EXPECT_EQ(FromUtf8(valid), out);
  EXPECT_EQ(ToUtf8(out), valid);

  struct Case {
    std::string bytes;
    String lenient;  // FromUtf8: one U+FFFD per byte that starts no valid sequence
  } cases[] = {
      {"\xc0\xaf", u"\uFFFD\uFFFD"},                      // overlong "/"
      {"\xc1\xbf", u"\uFFFD\uFFFD"},                      // overlong DEL
      {"\xe0\x80\xaf", u"\uFFFD\uFFFD\uFFFD"},            // overlong "/" in three bytes
      {"\xf0\x80\x80\xaf", u"\uFFFD\uFFFD\uFFFD\uFFFD"},  // and in four
      {"\xed\xa0\x80", u"\uFFFD\uFFFD\uFFFD"},            // the surrogate D800
      {"\xed\xbf\xbf", u"\uFFFD\uFFFD\uFFFD"},            // the surrogate DFFF
      {"\xf4\x90\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD"},  // past U+10FFFF
      {"\xf5\x80\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD"},
      {"\xc3", u"\uFFFD"},  // cut short
      {"x\xe2\x98", u"x\uFFFD\uFFFD"},
      {"\x80", u"\uFFFD"},        // a lone continuation byte
      {"caf\xe9", u"caf\uFFFD"},  // Windows-1252 text
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.bytes);
    EXPECT_FALSE(IsUtf8(c.bytes));
    EXPECT_FALSE(DecodeUtf8(c.bytes, out));
    EXPECT_EQ(FromUtf8(c.bytes), c.lenient);
  }
  // The largest value of each length and the smallest above the surrogates are accepted.
  for (std::string ok : {"\x7f", "\xdf\xbf", "\xed\x9f\xbf", "\xee\x80\x80", "\xe0\xa0\x80"}) {
    EXPECT_TRUE(IsUtf8(ok)) << ok;
  }
  // A lone surrogate cannot become UTF-8 either way.
  EXPECT_EQ(ToUtf8(u"\xD800x"), "\xef\xbf\xbdx");
}

TEST(Cp1252, FitsTellsWhatWouldBecomeAQuestionMark) {
  EXPECT_TRUE(FitsCp1252(u"caf\u00e9 \u20ac \u0178 \u00ff"));
  EXPECT_FALSE(FitsCp1252(u"\u2603"));
  EXPECT_FALSE(FitsCp1252(u"\U0001F600"));
  EXPECT_FALSE(FitsCp1252(u"\u0100"));
  EXPECT_EQ(ToCp1252(u"\u20ac\u00e9?"), "\x80\xe9?");
  EXPECT_EQ(FromCp1252(std::string_view("\x80\x81\xe9")), u"\u20ac\u0081\u00e9");
}

// The encoders take four characters at a time: one odd character at every place of texts of
// every length up to nine must be found and encoded as the character-by-character rule does.
TEST(Cp1252, EveryPlaceOfShortTextsIsEncodedAndClassified) {
  for (char16_t odd : {u'\x00', u'\x1f', u'\x20', u'\x7f', u'\x80', u'\xe9', u'\u0100', u'\u20ac',
                       u'\uff1f', u'\uffff'}) {
    for (size_t length = 1; length <= 9; ++length) {
      for (size_t at = 0; at < length; ++at) {
        String text(length, u'a');
        text[at] = odd;
        std::string expected;
        for (char16_t c : text) expected.push_back(static_cast<char>(ToCp1252(c)));
        std::string got = "x";
        AppendCp1252(text, got);
        EXPECT_EQ(got, "x" + expected) << int(odd) << " at " << at << " of " << length;
        const TextKinds kinds = KindsOf(text);
        EXPECT_EQ(kinds.non_ascii, odd >= 0x80) << int(odd) << " at " << at << " of " << length;
        EXPECT_EQ(kinds.controls, odd < 0x20) << int(odd) << " at " << at << " of " << length;
      }
    }
  }
}

}  // namespace
}  // namespace kiv
