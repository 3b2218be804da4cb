// KivLogEvent: the exact text block, loading records back, and failures on damaged text.
#include "kivdbxt/kiv_log_event.h"

#include <gtest/gtest.h>

#include "kivdbxt/error.h"
#include "platform/date.h"
#include "platform/file_table.h"
#include "platform/locale.h"
#include "support/last_error.h"
#include "support/temp_dir.h"

namespace kiv {
namespace {

using kivtest::ReadBytes;
using kivtest::TempDir;
using kivtest::WriteBytes;

const std::string kEnd = "END=-----------------------\r\n";

KivLogEvent Sample() {
  KivLogEvent e;
  e.EvUnk(-5);
  e.EvDate(MakeDate({2024, 3, 5, 14, 3, 7}));
  e.EvSource(u"APP");
  e.EvType(2);
  e.EvCategory(u"D\u00efsk");
  e.EvId(7);
  e.EvUser(u"u");
  e.EvComputer(u"c");
  e.EvRawData(u"a\r\nb\r\n");
  return e;
}

// Saves events one after the other into a file and returns its bytes.
std::string SaveAll(const TempDir& dir, std::initializer_list<KivLogEvent*> events) {
  int32_t h = FileOpenNext(dir.File("ev.ZLG"), FileMode::Append, ShareLock::Exclusive);
  for (KivLogEvent* e : events) EXPECT_FALSE(e->Save(h));
  FileClose(h);
  return ReadBytes(dir.FileU8("ev.ZLG"));
}

// Loads from the start of a file holding `bytes`; returns Load's result and leaves the position.
bool LoadFrom(const TempDir& dir, const std::string& bytes, KivLogEvent& e, int64_t* loc) {
  WriteBytes(dir.FileU8("in.ZLG"), bytes);
  int32_t h = FileOpenNext(dir.File("in.ZLG"), FileMode::Input, ShareLock::Shared);
  bool failed = e.Load(h);
  if (loc) *loc = FileLoc(h);
  FileClose(h);
  return failed;
}

TEST(KivLogEvent, SaveWritesTheExactBlock) {
  TempDir dir;
  KivLogEvent e = Sample();
  std::string bytes = SaveAll(dir, {&e});
  EXPECT_EQ(bytes,
            "UNK=-5\r\nDAT=2024-03-05 14:03:07\r\nSRC=APP\r\nTYP=2\r\nCAT=D\xEFsk\r\nEID=7\r\n"
            "USR=u\r\nCOM=c\r\nSVR=\r\nDTP=0\r\nRWD=a\r\nRWD=b\r\n" +
                kEnd);

  // Binary type writes its raw data as one line, as it stands; date-only when midnight.
  KivLogEvent b;
  b.EvDataType(RWDT_BINARY);
  b.EvRawData(u"0D0A");
  b.EvDate(DateSerial(2024, 3, 5));
  TempDir dir2;
  EXPECT_EQ(SaveAll(dir2, {&b}),
            "UNK=0\r\nDAT=2024-03-05\r\nSRC=\r\nTYP=0\r\nCAT=\r\nEID=0\r\nUSR=\r\nCOM=\r\n"
            "SVR=\r\nDTP=1\r\nRWD=0D0A\r\n" +
                kEnd);
}

TEST(KivLogEvent, RawDataLinesSplitAndJoin) {
  struct Case {
    const char16_t* raw;
    std::string lines;
    const char16_t* loaded;
  } cases[] = {
      {u"", "RWD=\r\n", u""},
      {u"a\r\nb\r\n", "RWD=a\r\nRWD=b\r\n", u"a\r\nb"},  // the final line end is lost
      {u"\r\nx", "RWD=\r\nRWD=x\r\n", u"x"},             // an empty first line adds nothing
      {u"a\rb\nc", "RWD=a\r\nRWD=b\r\nRWD=c\r\n", u"a\r\nb\r\nc"},
      {u"a\n\nb", "RWD=a\r\nRWD=b\r\n", u"a\r\nb"},  // one LF after a line end is dropped
      {u"a\r\rb", "RWD=a\r\nRWD=\r\nRWD=b\r\n", u"a\r\n\r\nb"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(ToUtf8(c.raw));
    TempDir dir;
    KivLogEvent e;
    e.EvRawData(c.raw);
    std::string bytes = SaveAll(dir, {&e});
    size_t at = bytes.find("RWD=");
    ASSERT_NE(at, std::string::npos);
    EXPECT_EQ(bytes.substr(at), c.lines + kEnd);
    KivLogEvent back;
    back.EvRawData(u"stale");
    EXPECT_FALSE(LoadFrom(dir, bytes, back, nullptr));
    EXPECT_EQ(back.EvRawData(), c.loaded);
  }
}

TEST(KivLogEvent, RecordsLoadBackOnePerCallUnderEachLocale) {
  for (LocaleKind kind : {LocaleKind::Iso, LocaleKind::Italian, LocaleKind::English}) {
    SetLocale(kind);
    TempDir dir;
    KivLogEvent a = Sample(), b;
    b.EvUnk(99);
    b.EvDate(MakeDate({2023, 12, 31, 23, 59, 59}));
    b.EvType(EVENTLOG_AUDIT_FAILURE);
    b.EvServer(u"srv");
    b.EvDataType(RWDT_BINARY);
    b.EvRawData(u"4142");
    SaveAll(dir, {&a, &b});
    int32_t h = FileOpenNext(dir.File("ev.ZLG"), FileMode::Input, ShareLock::Shared);
    KivLogEvent x, y, z;
    x.Offset(12);
    EXPECT_FALSE(x.Load(h));
    EXPECT_FALSE(y.Load(h));
    EXPECT_TRUE(z.Load(h));  // nothing left
    EXPECT_EQ(Last_Error(), 62);
    FileClose(h);
    EXPECT_EQ(x.EvUnk(), -5);
    EXPECT_EQ(x.EvDate(), a.EvDate());
    EXPECT_EQ(x.EvSource(), u"APP");
    EXPECT_EQ(x.EvCategory(), u"D\u00efsk");
    EXPECT_EQ(x.EvRawData(), u"a\r\nb");
    EXPECT_EQ(x.Offset(), 12);  // Load never touches the position or the ordinal
    EXPECT_EQ(x.Ordinal(), 0);
    EXPECT_EQ(y.EvUnk(), 99);
    EXPECT_EQ(y.EvDate(), b.EvDate());
    EXPECT_EQ(y.EvType(), 16);
    EXPECT_EQ(y.EvServer(), u"srv");
    EXPECT_EQ(y.EvDataType(), 1);
    EXPECT_EQ(y.EvRawData(), u"4142");
  }
  SetLocale(LocaleKind::Iso);
}

TEST(KivLogEvent, LoadFailuresRecordTheirErrorAndStopWhereReadingStopped) {
  struct Case {
    std::string text;
    int32_t number;
    const char16_t* description;
    int64_t loc;  // 1-based position after the last line read
  } cases[] = {
      {"SRC=x\r\nUNK=1\r\n", 20000, u"Disallineamento dei dati nel file di log.", 8},
      {"UNK=1\r\nFOO=1\r\n" + kEnd, 20000, u"Disallineamento dei dati nel file di log.", 15},
      {"UNK=1\r\nno equals\r\n" + kEnd, 20000, u"Disallineamento dei dati nel file di log.", 19},
      {"UNK=abc\r\n" + kEnd, 13, u"Type mismatch", 10},
      {"UNK=1\r\nTYP=x\r\n" + kEnd, 13, u"Type mismatch", 15},
      {"UNK=1\r\nDAT=31/31/2024\r\n" + kEnd, 13, u"Type mismatch", 24},
      {"UNK=99999999999\r\n", 6, u"Overflow", 18},
      {"UNK=1\r\nSRC=s\r\nRWD=x\r\n", 62, u"Input past end of file", 22},  // no END=
      {"", 62, u"Input past end of file", 1},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    TempDir dir;
    KivLogEvent e;
    int64_t loc = 0;
    EXPECT_TRUE(LoadFrom(dir, c.text, e, &loc));
    kivtest::ExpectLastError(c.number, u"KivLogEvent.Load", c.description);
    EXPECT_EQ(loc, c.loc);
  }
  // Fields read before the failure keep their new values; "END=anything" ends a record.
  TempDir dir;
  KivLogEvent e;
  EXPECT_TRUE(LoadFrom(dir, "UNK=4\r\nSRC=kept\r\nBAD=\r\n", e, nullptr));
  EXPECT_EQ(e.EvUnk(), 4);
  EXPECT_EQ(e.EvSource(), u"kept");
  EXPECT_FALSE(LoadFrom(dir, "UNK=4\r\nEND=anything\r\n", e, nullptr));
}

TEST(KivLogEvent, DamagedTextNeverCrashesOrHangs) {
  TempDir dir;
  std::string garbage;
  uint32_t x = 12345;
  for (int i = 0; i < 200000; ++i) {
    x = x * 1103515245u + 12345u;
    garbage.push_back(static_cast<char>(x >> 24));
  }
  KivLogEvent e;
  EXPECT_TRUE(LoadFrom(dir, garbage, e, nullptr));
  EXPECT_EQ(LastErrorRecord().Source, u"KivLogEvent.Load");

  std::string huge = "UNK=1\r\nSRC=" + std::string(1 << 20, 'y') + "\r\n";  // no END=
  EXPECT_TRUE(LoadFrom(dir, huge, e, nullptr));
  EXPECT_EQ(Last_Error(), 62);
  EXPECT_EQ(e.EvSource().size(), 1u << 20);

  std::string long_key = std::string(1 << 20, 'z') + "\r\n";
  int64_t loc = 0;
  EXPECT_TRUE(LoadFrom(dir, long_key, e, &loc));
  EXPECT_EQ(Last_Error(), 20000);
  EXPECT_EQ(loc, static_cast<int64_t>(long_key.size()) + 1);

  // A record cut short: inside its last key it is misaligned; once "END=" is whole it is a
  // complete record, whatever follows the key.
  KivLogEvent s = Sample();
  std::string whole = SaveAll(dir, {&s});
  EXPECT_TRUE(LoadFrom(dir, whole.substr(0, whole.size() - 27), e, nullptr));
  EXPECT_EQ(Last_Error(), 20000);
  EXPECT_TRUE(LoadFrom(dir, whole.substr(0, whole.size() - 31), e, nullptr));
  EXPECT_EQ(Last_Error(), 62);
  EXPECT_FALSE(LoadFrom(dir, whole.substr(0, whole.size() - 10), e, nullptr));

  // A line past the bound of 64 MiB is refused, not read on: the position stops one byte past
  // the bound.
  const size_t bound = size_t{64} << 20;
  const std::string past = "UNK=1\r\nRWD=" + std::string(bound - 3, 'r') + "\r\n" + kEnd;
  EXPECT_TRUE(LoadFrom(dir, past, e, &loc));
  EXPECT_EQ(LastErrorRecord().Description, u"Disallineamento dei dati nel file di log.");
  EXPECT_EQ(loc, static_cast<int64_t>(7 + bound + 1) + 1);
}

TEST(KivLogEvent, SaveOnABadFileFailsWithItsSource) {
  KivLogEvent e;
  int32_t bad = 400;
  EXPECT_TRUE(e.Save(bad));
  EXPECT_EQ(kivtest::LastRecorded(), kivtest::Recorded(52, u"KivLogEvent.Save"));
  TempDir dir;
  WriteBytes(dir.FileU8("r"), "");
  int32_t h = FileOpenNext(dir.File("r"), FileMode::Input, ShareLock::Shared);
  EXPECT_TRUE(e.Save(h));
  EXPECT_EQ(Last_Error(), 54);
  EXPECT_TRUE(e.Load(bad));
  EXPECT_EQ(Last_Error(), 52);
  FileClose(h);
  EXPECT_FALSE(e.RestoreData());
}

TEST(KivLogEvent, TranslateDataCleansTextAndEncodesBinary) {
  KivLogEvent e;
  e.EvSource(u"A\tB\r\n");
  e.EvCategory(
      u"c\x01\x1f"
      u"at");
  e.EvUser(u"\r\nu\x0b\x0c");
  e.EvComputer(
      u"\x7f"
      u"comp");  // DEL is not a stripped control
  e.EvServer(u"");
  e.EvRawData(u"l1\r\nl2\tx\x05");
  EXPECT_FALSE(e.TranslateData());
  EXPECT_EQ(e.EvSource(), u"A   B");
  EXPECT_EQ(e.EvCategory(), u"cat");
  EXPECT_EQ(e.EvUser(), u"u");
  EXPECT_EQ(e.EvComputer(),
            u"\x7f"
            u"comp");
  EXPECT_EQ(e.EvRawData(), u"l1\r\nl2   x");  // raw mode keeps line ends

  KivLogEvent b;
  b.EvDataType(RWDT_BINARY);
  b.EvRawData(u"AB\x05\r\u20ac\u4e2d\u00ff");
  EXPECT_FALSE(b.TranslateData());
  EXPECT_EQ(b.EvRawData(), u"4142050D803FFF");  // euro is 0x80, CJK is not in the code page

  KivLogEvent other;  // any type but 0 is encoded
  other.EvDataType(7);
  other.EvRawData(u"\n");
  EXPECT_FALSE(other.TranslateData());
  EXPECT_EQ(other.EvRawData(), u"0A");
}

}  // namespace
}  // namespace kiv
