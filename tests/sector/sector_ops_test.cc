// Every operation of KivSector, its messages, and round trips of text and bytes.
#include <cctype>
#include <fstream>
#include <functional>

#include "platform/system.h"
#include "sector_support.h"
#include "support/env_var.h"
#include "support/last_error.h"

namespace kiv::testing {
namespace {

using kivtest::LastRecorded;
using kivtest::ReadBytes;
using kivtest::Recorded;

using SectorOpsTest = SectorTest;

TEST_F(SectorOpsTest, OperationsBeforeOpenAndOnMissingRecordsFailWithTheirMessages) {
  KivSector s;
  int32_t id = 0;
  String text;
  int64_t length = 0;
  Date modified = 0;
  auto ids = std::make_shared<Collection>();
  const String not_open = u"Archivio di settori non aperto.";
  const std::pair<const char16_t*, std::function<bool()>> calls[] = {
      {u"KivSector.SectorWrite", [&] { return s.SectorWrite(id, u"x"); }},
      {u"KivSector.SectorRead", [&] { return s.SectorRead(1, text); }},
      {u"KivSector.SectorDelete", [&] { return s.SectorDelete(1); }},
      {u"KivSector.SectorInfo", [&] { return s.SectorInfo(1, length, modified); }},
      {u"KivSector.SectorList", [&] { return s.SectorList(ids); }},
      {u"KivSector.SectorFlush", [&] { return s.SectorFlush(); }},
      {u"KivSector.SectorCompact", [&] { return s.SectorCompact(); }},
      {u"KivSector.SectorVerify", [&] { return s.SectorVerify(ids); }},
      {u"KivSector.Records", [&] { return s.Records() == 0; }},
  };
  for (const auto& [source, call] : calls) {
    SCOPED_TRACE(ToUtf8(source));
    ClearLastError();
    EXPECT_TRUE(call());
    ExpectError(source, not_open);
  }
  EXPECT_FALSE(s.SectorClose());  // closing a closed store does nothing
  EXPECT_EQ(s.FileName(), u"");
  EXPECT_EQ(s.SectorSize(), 0);

  // Create: sizes, and a store that exists (any one of its files).
  EXPECT_TRUE(s.SectorCreate(base, 100));
  EXPECT_EQ(LastRecorded(), Recorded(5, u"KivSector.SectorCreate"));
  EXPECT_TRUE(s.SectorCreate(base, 131072));
  EXPECT_EQ(LastErrorRecord().Number, 5);
  kivtest::WriteBytes(File(".QVS"), "");
  EXPECT_TRUE(s.SectorCreate(base, 512));
  ExpectError(u"KivSector.SectorCreate", u"Il file " + base + u".QVS esiste già.");
  std::remove(File(".QVS").c_str());
  ASSERT_FALSE(s.SectorCreate(base + u".QVD", 4096));  // an extension stands for the base name
  EXPECT_TRUE(s.SectorCreate(base, 512));
  ExpectError(u"KivSector.SectorCreate", u"Il file " + base + u".QVD esiste già.");

  // Open: a missing store, a file that is not a store.
  EXPECT_TRUE(s.SectorOpen(dir.File("none")));
  EXPECT_EQ(LastRecorded(), Recorded(53, u"KivSector.SectorOpen"));
  ASSERT_FALSE(s.SectorCreate(dir.File("junk"), 512));
  kivtest::WriteBytes(dir.FileU8("junk.QVD"), std::string(64, 'j'));
  EXPECT_TRUE(s.SectorOpen(dir.File("junk")));
  ExpectError(u"KivSector.SectorOpen",
              u"Il file " + dir.File("junk") + u".QVD non è un archivio di settori.");

  ASSERT_FALSE(s.SectorOpen(base));
  EXPECT_EQ(s.FileName(), base);
  EXPECT_EQ(s.SectorSize(), 4096);
  EXPECT_EQ(s.Records(), 0);
  ASSERT_FALSE(s.SectorWrite(id, u"one"));
  for (int32_t missing : {0, -1, 2, 17, 1000}) {
    EXPECT_TRUE(s.SectorRead(missing, text));
    ExpectError(u"KivSector.SectorRead",
                u"Il record " + FromUtf8(std::to_string(missing)) + u" non esiste.");
  }
  int32_t replace = 5;
  EXPECT_TRUE(s.SectorWrite(replace, u"x"));  // a free slot is not replaced
  ExpectError(u"KivSector.SectorWrite", u"Il record 5 non esiste.");
  EXPECT_TRUE(s.SectorDelete(2));
  ExpectError(u"KivSector.SectorDelete", u"Il record 2 non esiste.");
  EXPECT_TRUE(s.SectorInfo(2, length, modified));
  ExpectError(u"KivSector.SectorInfo", u"Il record 2 non esiste.");
  ASSERT_FALSE(s.SectorDelete(1));
  EXPECT_TRUE(s.SectorRead(1, text));
  ExpectError(u"KivSector.SectorRead", u"Il record 1 non esiste.");
  EXPECT_TRUE(s.SectorList(nullptr));
  EXPECT_EQ(LastErrorRecord().Number, 91);
  ASSERT_FALSE(s.SectorClose());
  EXPECT_TRUE(s.SectorRead(1, text));
  ExpectError(u"KivSector.SectorRead", not_open);
}

TEST_F(SectorOpsTest, ListInfoRecordsFlushAndReadOnly) {
  KivSector s;
  CreateOpen(s);
  s.SyncWrites(true);
  std::vector<int32_t> ids;
  for (int i = 0; i < 5; ++i) {
    int32_t id = 0;
    ASSERT_FALSE(s.SectorWrite(id, String(size_t(i * 300), u'a' + i)));
    ids.push_back(id);
  }
  ASSERT_FALSE(s.SectorDelete(2));
  ASSERT_FALSE(s.SectorDelete(4));
  int32_t id = 0;
  ASSERT_FALSE(s.SectorWrite(id, std::vector<uint8_t>(10, 7)));
  EXPECT_EQ(id, 2);  // the lowest free slot
  auto list = std::make_shared<Collection>();
  list->Add(Variant(int32_t(99)));  // emptied first
  ASSERT_FALSE(s.SectorList(list));
  ASSERT_EQ(list->Count(), 4);
  EXPECT_EQ(list->Item(Variant(int32_t(1))), Variant(int32_t(1)));
  EXPECT_EQ(list->Item(Variant(int32_t(2))), Variant(int32_t(2)));
  EXPECT_EQ(list->Item(Variant(int32_t(3))), Variant(int32_t(3)));
  EXPECT_EQ(list->Item(Variant(int32_t(4))), Variant(int32_t(5)));
  EXPECT_EQ(s.Records(), 4);

  int64_t length = -1;
  Date modified = 0;
  ASSERT_FALSE(s.SectorInfo(3, length, modified));
  EXPECT_EQ(length, 1200);  // 600 characters
  EXPECT_GT(modified, 45000.0);
  ASSERT_FALSE(s.SectorInfo(2, length, modified));
  EXPECT_EQ(length, 10);
  ASSERT_FALSE(s.SectorFlush());

  KivSector reader;
  ASSERT_FALSE(reader.SectorOpen(base + u".QVS", true));
  EXPECT_EQ(reader.Records(), 4);
  String text;
  ASSERT_FALSE(reader.SectorRead(5, text));
  EXPECT_EQ(text, String(1200, u'e'));
  int32_t rid = 0;
  EXPECT_TRUE(reader.SectorWrite(rid, u"no"));
  EXPECT_EQ(LastRecorded(), Recorded(54, u"KivSector.SectorWrite"));
  EXPECT_TRUE(reader.SectorDelete(1));
  EXPECT_EQ(LastErrorRecord().Number, 54);
  EXPECT_TRUE(reader.SectorCompact());
  EXPECT_EQ(LastErrorRecord().Number, 54);
  EXPECT_FALSE(reader.SectorFlush());
}

TEST_F(SectorOpsTest, RewritesOfAnotherSizeAndEveryKindOfDataRoundTrip) {
  KivSector s;
  CreateOpen(s, 128);
  String text = u"abc\u00e9\u20ac\U0001F600";
  text.push_back(u'\0');
  text += u"end";
  std::vector<uint8_t> all;
  for (int b = 0; b < 256; ++b) all.push_back(static_cast<uint8_t>(b));
  int32_t t = 0, b = 0, other = 0;
  ASSERT_FALSE(s.SectorWrite(t, text));
  ASSERT_FALSE(s.SectorWrite(b, all));
  ASSERT_FALSE(s.SectorWrite(other, u"neighbour"));

  String got;
  std::vector<uint8_t> bytes;
  Variant v;
  ASSERT_FALSE(s.SectorRead(t, got));
  EXPECT_EQ(got, text);
  ASSERT_FALSE(s.SectorRead(t, v));
  EXPECT_EQ(v, Variant(text));
  ASSERT_FALSE(s.SectorRead(t, bytes));  // text as bytes: UTF-16LE
  EXPECT_EQ(bytes, ToVector(Utf16Bytes(text)));
  ASSERT_FALSE(s.SectorRead(b, bytes));
  EXPECT_EQ(bytes, all);
  ASSERT_FALSE(s.SectorRead(b, v));
  EXPECT_EQ(v, Variant(all));
  ASSERT_FALSE(s.SectorRead(b, got));  // bytes as text: one character per byte
  ASSERT_EQ(got.size(), 256u);
  EXPECT_EQ(got[255], u'\xff');

  // Variant writes: a String, a byte array, and a number as its text.
  ASSERT_FALSE(s.SectorWrite(b, Variant(std::vector<uint8_t>{1, 2})));
  ASSERT_FALSE(s.SectorRead(b, v));
  EXPECT_EQ(v, Variant(std::vector<uint8_t>{1, 2}));
  ASSERT_FALSE(s.SectorWrite(b, Variant(int32_t(42))));
  ASSERT_FALSE(s.SectorRead(b, v));
  EXPECT_EQ(v, Variant(String(u"42")));

  // Larger, smaller, zero, and back: the record reads exactly, its neighbour is untouched and the
  // sectors given back are reused (the sector file does not keep growing).
  for (size_t size : {1000, 5000, 129, 128, 127, 0, 1, 0, 3000, 64}) {
    const std::vector<uint8_t> data(size, static_cast<uint8_t>(size % 251));
    ASSERT_FALSE(s.SectorWrite(b, data));
    ASSERT_FALSE(s.SectorRead(b, bytes));
    EXPECT_EQ(bytes, data) << size;
    int64_t length = -1;
    Date modified = 0;
    ASSERT_FALSE(s.SectorInfo(b, length, modified));
    EXPECT_EQ(length, int64_t(size));
    ASSERT_FALSE(s.SectorWrite(t, String(size / 2, u'\u4e2d')));
    ASSERT_FALSE(s.SectorRead(t, got));
    EXPECT_EQ(got, String(size / 2, u'\u4e2d'));
  }
  ASSERT_FALSE(s.SectorRead(other, got));
  EXPECT_EQ(got, u"neighbour");
  EXPECT_LE(ReadBytes(File(".QVS")).size(), 128u * 128);
  EXPECT_EQ(DamagedCount(s), 0);
}

TEST_F(SectorOpsTest, ALargeRecordRoundTripsInPieces) {
  KivSector s;
  CreateOpen(s, 4096);
  std::vector<uint8_t> big(24 << 20);
  uint32_t x = 12345;
  for (auto& byte : big) {
    x = x * 1103515245 + 12345;
    byte = static_cast<uint8_t>(x >> 24);
  }
  int32_t small = 0, id = 0;
  ASSERT_FALSE(s.SectorWrite(small, u"before"));
  ASSERT_FALSE(s.SectorWrite(id, big));
  std::vector<uint8_t> got;
  ASSERT_FALSE(s.SectorRead(id, got));
  EXPECT_TRUE(got == big);
  const String text(5 << 20, u'\u00e8');
  ASSERT_FALSE(s.SectorWrite(id, text));
  String back;
  ASSERT_FALSE(s.SectorRead(id, back));
  EXPECT_TRUE(back == text);
  EXPECT_EQ(DamagedCount(s), 0);
  ASSERT_FALSE(s.SectorCompact());
  ASSERT_FALSE(s.SectorRead(id, back));
  EXPECT_TRUE(back == text);
  EXPECT_EQ(ReadBytes(File(".QVS")).size(), 4096u * (1 + (10 << 20) / 4096));
}

#if !defined(_WIN32)
// The log folder is set through the environment, which only the POSIX build reads.
TEST_F(SectorOpsTest, PosixDebugWritesOneLinePerOperationToTheProgramsLog) {
  const kivtest::EnvVar programs("KIV_PROGRAMFILESDIR", dir.path().c_str());
  KivSector s;
  s.Debug(true);
  CreateOpen(s);
  int32_t id = 0;
  ASSERT_FALSE(s.SectorWrite(id, u"hello"));
  String text;
  EXPECT_TRUE(s.SectorRead(9, text));
  ExpectError(u"KivSector.SectorRead", u"Il record 9 non esiste.");  // the log leaves it alone
  s.Debug(false);
  ASSERT_FALSE(s.SectorRead(id, text));

  std::ifstream in(dir.FileU8("Q&V/Log/" + ToUtf8(ProgramName()) + ".log"));
  std::vector<std::string> lines;
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  ASSERT_EQ(lines.size(), 4u);
  // Each line: the time with milliseconds, then this process's id ("d" stands for a digit).
  const std::string stamp = "dddd-dd-dd dd:dd:dd.ddd " + std::to_string(::getpid()) + " ";
  for (const std::string& line : lines) {
    bool ok = line.size() > stamp.size();
    for (size_t i = 0; ok && i < stamp.size(); ++i) {
      ok = stamp[i] == 'd' ? std::isdigit(static_cast<unsigned char>(line[i])) != 0
                           : line[i] == stamp[i];
    }
    EXPECT_TRUE(ok) << line;
  }
  EXPECT_NE(lines[0].find(" SectorCreate " + ToUtf8(base) + " SectorSize=512 -> False"),
            std::string::npos);
  EXPECT_NE(lines[1].find(" SectorOpen " + ToUtf8(base) + " -> False"), std::string::npos);
  EXPECT_NE(lines[2].find(" SectorWrite RecId=0 NewRecId=1 Length=10 Text -> False"),
            std::string::npos);
  EXPECT_NE(lines[3].find(" SectorRead RecId=9 -> True error 20000 Il record 9 non esiste."),
            std::string::npos);
}
#endif

TEST_F(SectorOpsTest, TheFactoryCreatesItByProgIdAndClsid) {
  auto a = std::dynamic_pointer_cast<KivSector>(CreateObject(u"KivDbXtOle.KivSector"));
  ASSERT_NE(a, nullptr);
  auto b =
      std::dynamic_pointer_cast<KivSector>(CreateObject(u"{23C25EAF-2A6C-437A-86FF-FA17F5D7E905}"));
  ASSERT_NE(b, nullptr);
  EXPECT_NE(a, b);
}

}  // namespace
}  // namespace kiv::testing
