// Opening, writing and closing: the exact bytes of both files, the open modes, the day change,
// the size limit and the table of open logs.
#include <functional>

#include "dailylog_support.h"
#include "platform/text_codec.h"
#include "support/last_error.h"

namespace kiv::testing {
namespace {

using kivtest::ExpectLastError;
class LogWriteTest : public DailyLogTest {
 protected:
  KivLog log;
};

TEST_F(LogWriteTest, ThreeWritesGiveTheExactIndexAndDataFiles) {
  const String base = Base(u"APP");
  {
    KivLog scoped;
    int32_t id = scoped.EventLogOpen(u"APP", folder, ELOF_OPENALWAYS, 0, u"PC1", u"anna");
    ASSERT_NE(id, 0);
    SetClockTo(Day1At(10, 30));
    ASSERT_FALSE(scoped.EventLogWrite(id, u"Billing", u"line1\r\nline2\r\n", RWDT_ASCII,
                                      EVENTLOG_WARNING_TYPE, u"Disk\tA\r\n", 42, u"SRV"));
    ASSERT_FALSE(scoped.EventLogWrite(id, u"Bin", u"AB\x05", RWDT_BINARY));
    // No close: the destructor would add a fourth event; check the files while still open.
    std::vector<int32_t> index = IndexValues(base);
    std::string data = ReadAll(base + u".ZLG");
    auto events = ReadDay(base);
    ASSERT_EQ(events.size(), 3u);

    std::string b1 = RecordBytes(std::to_string(events[0]->EvUnk()), "2024-03-05 10:00:00",
                                 "SRC=EVENTLOG\r\nTYP=4\r\nCAT=\r\nEID=1\r\nUSR=anna\r\nCOM=PC1\r\n"
                                 "SVR=\r\nDTP=0\r\nRWD=Open\r\n");
    std::string b2 = RecordBytes(std::to_string(events[1]->EvUnk()), "2024-03-05 10:30:00",
                                 "SRC=Billing\r\nTYP=2\r\nCAT=Disk   A\r\nEID=42\r\nUSR=anna\r\n"
                                 "COM=PC1\r\nSVR=SRV\r\nDTP=0\r\nRWD=line1\r\nRWD=line2\r\n");
    std::string b3 = RecordBytes(std::to_string(events[2]->EvUnk()), "2024-03-05 10:30:00",
                                 "SRC=Bin\r\nTYP=2\r\nCAT=\r\nEID=0\r\nUSR=anna\r\nCOM=PC1\r\n"
                                 "SVR=\r\nDTP=1\r\nRWD=414205\r\n");
    EXPECT_EQ(data, b1 + b2 + b3);
    const int32_t p2 = static_cast<int32_t>(b1.size()) + 1;
    const int32_t p3 = p2 + static_cast<int32_t>(b2.size());
    EXPECT_EQ(ReadAll(base + u".ZLI").size(), 16u);
    EXPECT_EQ(index, (std::vector<int32_t>{3, 1, p2, p3}));
    // Every event has its own number.
    EXPECT_NE(events[0]->EvUnk(), events[1]->EvUnk());
    EXPECT_NE(events[1]->EvUnk(), events[2]->EvUnk());
    EXPECT_GT(events[0]->EvUnk(), 0);

    std::shared_ptr<KivLogInfo> info;
    ASSERT_FALSE(scoped.EventLogInfo(id, info));
    EXPECT_EQ(info->Events(), 3);
  }
  // Closing by the destructor adds the "Closed" marker.
  EXPECT_EQ(IndexValues(base)[0], 4);
}

TEST_F(LogWriteTest, OpenAndCloseLeaveTwoMarkers) {
  const String base = Base(u"APP");
  int32_t id = log.EventLogOpen(u"APP", folder);
  ASSERT_NE(id, 0);
  ASSERT_FALSE(log.EventLogClose(id));
  EXPECT_EQ(IndexValues(base).size(), 3u);
  // The markers hold the fields of the stored day files (log_portable_test.cc); Computer and
  // User stay empty when not given.
  auto events = ReadDay(base);
  ASSERT_EQ(events.size(), 2u);
  EXPECT_EQ(events[1]->EvRawData(), u"Closed");
  EXPECT_EQ(events[0]->EvComputer() + events[0]->EvUser(), u"");

  // A closed Id is unknown to every operation; each failure names its own operation.
  std::shared_ptr<KivLogInfo> info;
  const std::pair<const char16_t*, std::function<bool()>> calls[] = {
      {u"KivLog.EventLogWrite", [&] { return log.EventLogWrite(id, u"late"); }},
      {u"KivLog.EventLogClose", [&] { return log.EventLogClose(id); }},
      {u"KivLog.EventLogInfo", [&] { return log.EventLogInfo(id, info) && info == nullptr; }},
      {u"KivLog.EventLogOptions", [&] { return log.EventLogOptions(id) == 0; }},
      {u"KivLog.EventLogMaxSize",
       [&] {
         log.EventLogMaxSize(id, 5);
         return true;
       }},
  };
  for (const auto& [source, call] : calls) {
    SCOPED_TRACE(ToUtf8(source));
    ClearLastError();
    EXPECT_TRUE(call());
    ExpectLastError(20000, source, u"Eventlog not started.");
  }
  EXPECT_EQ(IndexValues(base)[0], 2);
}

TEST_F(LogWriteTest, OpenModesAndTheirFailures) {
  const String base = Base(u"APP");
  auto count = [&] { return IndexValues(base)[0]; };
  {
    // A failed open adds nothing to the table: destroying the object writes no marker.
    KivLog scoped;
    EXPECT_EQ(scoped.EventLogOpen(u"", folder), 0);
    ExpectLastError(20000, u"KivLog.EventLogOpenEx", u"Missing AppId.");
    EXPECT_EQ(scoped.EventLogOpenEx(u"APP", folder, ELOF_OPEN_EXISTING), 0);
    ExpectLastError(20000, u"KivLog.EventLogOpenEx", u"Il file di log " + base + u" non esiste.");
    EXPECT_FALSE(FileExists(base + u".ZLG"));
    WriteAll(base + u".ZLG", "");  // a data file without its index is not a log
    EXPECT_EQ(scoped.EventLogOpen(u"APP", folder, ELOF_OPEN_EXISTING), 0);
    ExpectLastError(20000, u"KivLog.EventLogOpenEx", u"Il file di log " + base + u" non esiste.");
    std::filesystem::remove(ToUtf8(base + u".ZLG"));

    // Nor is a lone index file: mode 1 takes either lone file as no log and goes ahead.
    for (const char16_t* lone : {u".ZLI", u".ZLG"}) {
      WriteAll(base + lone, lone == String(u".ZLI") ? IndexBytes({0}) : "");
      const int32_t id = scoped.EventLogOpen(u"APP", folder, ELOF_CREATE_NEW);
      ASSERT_NE(id, 0) << ToUtf8(lone);
      ASSERT_FALSE(scoped.EventLogClose(id));
      EXPECT_EQ(count(), 2);
      std::filesystem::remove(ToUtf8(base + u".ZLG"));
      std::filesystem::remove(ToUtf8(base + u".ZLI"));
    }

    int32_t id = scoped.EventLogOpen(u"APP", folder, ELOF_CREATE_NEW);
    ASSERT_NE(id, 0);
    ASSERT_FALSE(scoped.EventLogClose(id));
    EXPECT_EQ(scoped.EventLogOpen(u"APP", folder, ELOF_CREATE_NEW), 0);
    ExpectLastError(20000, u"KivLog.EventLogOpenEx", u"Il file di log " + base + u" esiste già.");
    EXPECT_EQ(count(), 2);
  }
  EXPECT_EQ(count(), 2);

  // Mode 0 on an existing log and mode 3 append; two opens give two Ids on the same files.
  int32_t a = log.EventLogOpen(u"APP", folder, ELOF_OPEN_EXISTING);
  int32_t b = log.EventLogOpen(u"APP", folder, ELOF_OPENALWAYS);
  int32_t c = log.EventLogOpen(u"APP", folder, 17);  // outside 0..4: as mode 3
  ASSERT_TRUE(a && b && c);
  EXPECT_NE(a, b);
  EXPECT_NE(b, c);
  EXPECT_EQ(count(), 5);
  ASSERT_FALSE(log.EventLogWrite(b, u"from b"));
  EXPECT_EQ(count(), 6);

  // Mode 2 empties the day's log.
  int32_t d = log.EventLogOpen(u"APP", folder, ELOF_CREATE_ALWAYS);
  ASSERT_NE(d, 0);
  EXPECT_EQ(IndexValues(base).size(), 2u);
  EXPECT_EQ(count(), 1);
  auto events = ReadDay(base);
  ASSERT_EQ(events.size(), 1u);
  EXPECT_EQ(events[0]->EvRawData(), u"Open");

  // Mode 4 moves the old pair aside, byte for byte, and starts again with the "Open" marker.
  ASSERT_FALSE(log.EventLogWrite(d, u"before backup"));
  const std::string old_data = ReadAll(base + u".ZLG");
  const std::string old_index = ReadAll(base + u".ZLI");
  int32_t e = log.EventLogOpen(u"APP", folder, ELOF_BACKUP_IFEXISTS);
  ASSERT_NE(e, 0);
  EXPECT_EQ(ReadAll(base + u"-01.ZLG"), old_data);
  EXPECT_EQ(ReadAll(base + u"-01.ZLI"), old_index);
  EXPECT_EQ(IndexValues(base), (std::vector<int32_t>{1, 1}));
  events = ReadDay(base);
  ASSERT_EQ(events.size(), 1u);
  EXPECT_EQ(events[0]->EvRawData(), u"Open");
  ASSERT_NE(log.EventLogOpen(u"APP", folder, ELOF_BACKUP_IFEXISTS), 0);
  EXPECT_EQ(ReadAll(base + u"-01.ZLG"), old_data);
  EXPECT_TRUE(FileExists(base + u"-02.ZLG"));

  // Files that cannot be opened: the run time's number and text after the log's name.
  WriteAll(folder + kPathSeparator + u"plainfile", "x");
  const String bad = folder + kPathSeparator + u"plainfile" + kPathSeparator + u"sub";
  EXPECT_EQ(log.EventLogOpen(u"APP", bad), 0);
  ExpectLastError(76, u"KivLog.EventLogOpenEx",
                  u"Impossibile aprire il file di log " + bad + kPathSeparator +
                      u"APP_20240305\r\nPath not found");
}

TEST_F(LogWriteTest, WritesAfterMidnightFollowTheDayUnlessTold) {
  SetClockTo(Day1At(23, 59));
  const Date day2 = MakeDate(DateParts{2024, 3, 6, 0, 1, 0});
  int32_t moving = log.EventLogOpen(u"MOVE", folder);
  int32_t staying = log.EventLogOpen(u"STAY", folder);
  ASSERT_TRUE(moving && staying);
  log.EventLogOptions(staying, KIVLIOPT_DONTCHANGEFILE);
  EXPECT_EQ(log.EventLogOptions(staying), KIVLIOPT_DONTCHANGEFILE);
  ASSERT_FALSE(log.EventLogWrite(moving, u"late"));

  SetClockTo(day2);
  ASSERT_FALSE(log.EventLogWrite(moving, u"early"));
  ASSERT_FALSE(log.EventLogWrite(staying, u"early"));

  EXPECT_EQ(IndexValues(Base(u"MOVE"))[0], 2);  // Open, late
  auto next = ReadDay(Base(u"MOVE", day2));
  ASSERT_EQ(next.size(), 1u);  // the new day begins with the event itself
  EXPECT_EQ(next[0]->EvSource(), u"early");
  EXPECT_EQ(next[0]->EvDate(), day2);
  std::shared_ptr<KivLogInfo> info;
  ASSERT_FALSE(log.EventLogInfo(moving, info));
  EXPECT_EQ(info->FileName(), Base(u"MOVE", day2));
  EXPECT_EQ(info->Events(), 1);

  auto stayed = ReadDay(Base(u"STAY"));
  ASSERT_EQ(stayed.size(), 2u);
  EXPECT_EQ(stayed[1]->EvSource(), u"early");
  EXPECT_EQ(stayed[1]->EvDate(), day2);
  EXPECT_FALSE(FileExists(Base(u"STAY", day2) + u".ZLG"));
}

TEST_F(LogWriteTest, SizeLimitRefusesEventsPastTheLimit) {
  const String base = Base(u"APP");
  int32_t id = log.EventLogOpenEx(u"APP", folder, ELOF_OPENALWAYS, 0, u"", u"", 1);
  ASSERT_NE(id, 0);  // the empty file is within the limit: the marker is written
  EXPECT_EQ(log.EventLogMaxSize(id), 1);
  const std::string data = ReadAll(base + u".ZLG");
  EXPECT_TRUE(log.EventLogWrite(id, u"too much"));
  ExpectLastError(20000, u"KivLog.EventLogWrite",
                  u"Il file di log " + base + u" ha superato la dimensione massima.");
  EXPECT_EQ(ReadAll(base + u".ZLG"), data);
  EXPECT_EQ(IndexValues(base)[0], 1);

  // Exactly at the limit is not past it.
  log.EventLogMaxSize(id, static_cast<int32_t>(data.size()));
  EXPECT_FALSE(log.EventLogWrite(id, u"fits"));
  EXPECT_TRUE(log.EventLogWrite(id, u"past"));
  log.EventLogMaxSize(id, 0);
  EXPECT_FALSE(log.EventLogWrite(id, u"no limit"));
  EXPECT_EQ(IndexValues(base)[0], 3);

  // The snapshot of EventLogInfo is not a handle on the open log.
  std::shared_ptr<KivLogInfo> info;
  ASSERT_FALSE(log.EventLogInfo(id, info));
  EXPECT_EQ(info->AppId(), u"APP");
  EXPECT_EQ(info->Path(), folder);
  EXPECT_EQ(info->FileName(), base);
  EXPECT_EQ(info->unk(), u"");
  info->FileName(folder + u"/ELSEWHERE_20240305");
  EXPECT_FALSE(log.EventLogWrite(id, u"still here"));
  EXPECT_EQ(IndexValues(base)[0], 4);
}

TEST_F(LogWriteTest, DestroyingTheObjectClosesEveryOpenLog) {
  {
    KivLog scoped;
    ASSERT_NE(scoped.EventLogOpen(u"ONE", folder), 0);
    int32_t two = scoped.EventLogOpen(u"TWO", folder);
    ASSERT_NE(two, 0);
    ASSERT_FALSE(scoped.EventLogWrite(two, u"x"));
    int32_t closed = scoped.EventLogOpen(u"THREE", folder);
    ASSERT_FALSE(scoped.EventLogClose(closed));
  }
  for (const char16_t* app : {u"ONE", u"TWO", u"THREE"}) {
    auto events = ReadDay(Base(app));
    ASSERT_FALSE(events.empty());
    EXPECT_EQ(events.back()->EvRawData(), u"Closed") << ToUtf8(app);
    EXPECT_EQ(std::count_if(events.begin(), events.end(),
                            [](auto& e) { return e->EvRawData() == u"Closed"; }),
              1);
  }
}

// KIVLIOPT_UTF8 writes records in UTF-8; readers decode each record by itself, so records of
// both encodings read back whole from one day, a Windows-1252 record whose bytes are not UTF-8
// (an overlong "/" among them) included.
TEST_F(LogWriteTest, Utf8RecordsAndWindows1252RecordsShareADay) {
  const String base = Base(u"UNI");
  const String text = u"caf\u00e9 \u2603 \u65e5\u672c\u8a9e \U0001F600";
  const std::string text_utf8 =
      "caf\xc3\xa9 \xe2\x98\x83 \xe6\x97\xa5\xe6\x9c\xac\xe8\xaa\x9e \xf0\x9f\x98\x80";
  int32_t id = log.EventLogOpen(u"UNI", folder, ELOF_CREATE_ALWAYS, 0, u"pc", u"\u00e8va");
  ASSERT_NE(id, 0);
  log.EventLogOptions(id, KIVLIOPT_UTF8);
  ASSERT_FALSE(log.EventLogWrite(id, text, text + u"\r\n\u20ac", RWDT_ASCII, 4, u"\u00e9t\u00e9"));
  log.EventLogOptions(id, 0);
  ASSERT_FALSE(log.EventLogWrite(id, u"caf\u00e9", u"\u20ac 5 \u2603", RWDT_ASCII, 4));
  ASSERT_FALSE(log.EventLogClose(id));

  std::vector<int32_t> index = IndexValues(base);
  ASSERT_EQ(index[0], 4);
  const std::string data = ReadAll(base + u".ZLG");
  const std::string utf8_record =
      data.substr(static_cast<size_t>(index[2] - 1), static_cast<size_t>(index[3] - index[2]));
  EXPECT_NE(utf8_record.find("\r\nSRC=" + text_utf8 +
                             "\r\nTYP=4\r\nCAT=\xc3\xa9t\xc3\xa9\r\n"
                             "EID=0\r\nUSR=\xc3\xa8va\r\nCOM=pc\r\nSVR=\r\nDTP=0\r\nRWD=" +
                             text_utf8 + "\r\nRWD=\xe2\x82\xac\r\nEND="),
            std::string::npos)
      << utf8_record;
  // Without the option the same log goes on in Windows-1252; what it cannot hold becomes "?".
  const std::string cp_record =
      data.substr(static_cast<size_t>(index[3] - 1), static_cast<size_t>(index[4] - index[3]));
  EXPECT_NE(cp_record.find("\r\nSRC=caf\xe9\r\n"), std::string::npos) << cp_record;
  EXPECT_NE(cp_record.find("\r\nUSR=\xe8va\r\n"), std::string::npos) << cp_record;
  EXPECT_NE(cp_record.find("\r\nRWD=\x80 5 ?\r\n"), std::string::npos) << cp_record;

  auto events = ReadDay(base);
  ASSERT_EQ(events.size(), 4u);
  EXPECT_EQ(events[1]->EvSource(), text);
  EXPECT_EQ(events[1]->EvRawData(), text + u"\r\n\u20ac");
  EXPECT_EQ(events[1]->EvCategory(), u"\u00e9t\u00e9");
  EXPECT_EQ(events[1]->EvUser(), u"\u00e8va");
  EXPECT_EQ(events[2]->EvSource(), u"caf\u00e9");
  EXPECT_EQ(events[2]->EvUser(), u"\u00e8va");
  EXPECT_EQ(events[2]->EvRawData(), u"\u20ac 5 ?");

  // A record is decoded as a whole: one line that is not UTF-8 makes the whole record
  // Windows-1252, and an overlong form is never taken for UTF-8.
  std::string mixed = data;
  const size_t at = mixed.find("RWD=\xe2\x82\xac");
  ASSERT_NE(at, std::string::npos);
  mixed.replace(at, 7, "RWD=\xc0\xaf/");  // same length; C0 AF is an overlong "/"
  WriteAll(base + u".ZLG", mixed);
  events = ReadDay(base);
  ASSERT_EQ(events.size(), 4u);
  EXPECT_EQ(events[1]->EvSource(), FromCp1252(text_utf8));
  EXPECT_EQ(events[1]->EvRawData(), FromCp1252(text_utf8) + u"\r\n\u00c0\u00af/");
  EXPECT_EQ(events[1]->EvUser(), u"\u00c3\u00a8va");
  EXPECT_EQ(events[2]->EvSource(), u"caf\u00e9");
}

}  // namespace
}  // namespace kiv::testing
