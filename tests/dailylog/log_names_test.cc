// Names, the default folder, the descriptor, listing and moving logs aside.
#include "dailylog_support.h"
#include "support/env_var.h"
#include "support/last_error.h"

namespace kiv::testing {
namespace {

const String sep(1, kPathSeparator);

using LogNamesTest = DailyLogTest;
using kivtest::EnvVar;
using kivtest::LastRecorded;
using kivtest::Recorded;

TEST_F(LogNamesTest, FileNamesAndDefaultFolder) {
  KivLog log;
  // The separator is not doubled, AppId is kept as written, the day is YYYYMMDD.
  EXPECT_EQ(log.LogFileName(u"App", folder, Day1At()), folder + sep + u"App_20240305");
  EXPECT_EQ(log.LogFileName(u"App", folder + sep, Day1At()), folder + sep + u"App_20240305");
  EXPECT_EQ(log.LogFileName(u"", folder, Day1At()), folder + sep + u"_20240305");
  // CurrDate 0 is the clock's day.
  SetClockTo(MakeDate(DateParts{2025, 12, 31, 23, 59, 0}));
  EXPECT_EQ(log.LogFileName(u"APP", folder), folder + sep + u"APP_20251231");
}

#if !defined(_WIN32)
// On Windows the folder comes from the registry (platform_windows_test.cc).
TEST_F(LogNamesTest, PosixDefaultFolderFromTheEnvironment) {
  KivLog log;
  // The default folder lies below the program-files folder; its first choice is
  // $KIV_PROGRAMFILESDIR, then $XDG_DATA_HOME.
  const std::string pf = ToUtf8(folder) + "/pf";
  {
    EnvVar a("KIV_PROGRAMFILESDIR", pf.c_str());
    EXPECT_EQ(log.LogDefaultPath(), folder + u"/pf/Q&V/Log");
    String path;  // the long form hands the default folder back and creates it
    EXPECT_EQ(log.LogFileName(u"APP", path, Day1At()), folder + u"/pf/Q&V/Log/APP_20240305");
    EXPECT_EQ(path, folder + u"/pf/Q&V/Log");
    EXPECT_TRUE(FolderExists(path));
  }
  {
    EnvVar a("KIV_PROGRAMFILESDIR", (pf + "/").c_str());
    EXPECT_EQ(log.LogDefaultPath(), folder + u"/pf/Q&V/Log");
  }
  {
    EnvVar a("KIV_PROGRAMFILESDIR", nullptr);
    EnvVar b("XDG_DATA_HOME", (pf + "2").c_str());
    EXPECT_EQ(log.LogDefaultPath(), folder + u"/pf2/Q&V/Log");
  }
  {
    // No value at all: the root folder, and the reader's own error is forgotten.
    EnvVar a("KIV_PROGRAMFILESDIR", nullptr);
    EnvVar b("XDG_DATA_HOME", nullptr);
    EnvVar c("HOME", nullptr);
    EXPECT_EQ(log.LogDefaultPath(), u"/Q&V/Log");
    EXPECT_EQ(Last_Error(), 0);
  }
}
#endif

TEST(KivLogInfoTest, DayDateCreatedAndCopyTo) {
  KivLogInfo info;
  info.FileName(u"/var/log/L/APP_20240305");
  EXPECT_EQ(info.Day(), u"2024-03-05");
  EXPECT_EQ(info.DateCreated(), DateSerial(2024, 3, 5));
  info.FileName(u"APP_20240305");  // no separator
  EXPECT_EQ(info.Day(), u"");
  info.FileName(u"/L/APP20240305");  // no underscore
  EXPECT_EQ(info.Day(), u"");
  // The first "_" after the last separator is used, so an AppId holding "_" misplaces the day.
  info.FileName(u"/L/MY_APP_20240305");
  EXPECT_EQ(info.Day(), u"APP_-20-05");
  ClearLastError();
  EXPECT_EQ(info.DateCreated(), 0);
  EXPECT_EQ(LastRecorded(), Recorded(13, u"KivLogInfo.DateCreated"));
  info.FileName(u"/L/A_2024");
  EXPECT_EQ(info.Day(), u"2024--24");

  // CopyTo copies where the log lies and what it holds, not its handle, data or limit.
  KivLogInfo src;
  src.unk(u"77");
  src.AppId(u"APP");
  src.Path(u"/p");
  src.FileName(u"/p/APP_20240305");
  src.Computer(u"PC");
  src.User(u"me");
  src.Events(12);
  src.Options(KIVLIOPT_DONTCHANGEFILE);
  src.MaxSize(500);
  auto dst = std::make_shared<KivLogInfo>();
  auto data = std::make_shared<Collection>();
  data->Add(Variant(u"kept"));
  dst->unk(u"5");
  dst->LogData(data);
  dst->MaxSize(9);
  src.CopyTo(dst);
  EXPECT_EQ(dst->AppId(), u"APP");
  EXPECT_EQ(dst->Path(), u"/p");
  EXPECT_EQ(dst->FileName(), u"/p/APP_20240305");
  EXPECT_EQ(dst->Computer(), u"PC");
  EXPECT_EQ(dst->User(), u"me");
  EXPECT_EQ(dst->Events(), 12);
  EXPECT_EQ(dst->Options(), KIVLIOPT_DONTCHANGEFILE);
  EXPECT_EQ(dst->unk(), u"5");
  EXPECT_EQ(dst->MaxSize(), 9);
  EXPECT_EQ(dst->LogData(), data);

  ClearLastError();
  src.CopyTo(nullptr);
  EXPECT_EQ(LastRecorded(), Recorded(91, u"KivLogInfo.CopyTo"));

  // Creatable by ProgID.
  EXPECT_NE(std::dynamic_pointer_cast<KivLogInfo>(CreateObject(u"KivDbXtOle.KivLogInfo")), nullptr);
  EXPECT_NE(std::dynamic_pointer_cast<KivLog>(CreateObject(u"KivDbXtOle.KivLog")), nullptr);
}

TEST_F(LogNamesTest, ListFindsIndexFilesOnly) {
  WriteAll(folder + sep + u"A_20240101.ZLG", "");
  WriteAll(folder + sep + u"A_20240101.ZLI", "");
  WriteAll(folder + sep + u"B_20240102.ZLG", "");  // no index: not listed
  WriteAll(folder + sep + u"C_D_20240103.ZLI", "");
  WriteAll(folder + sep + u"PLAIN.ZLI", "");
  WriteAll(folder + sep + u"notes.txt", "");

  KivLog log;
  auto logs = std::make_shared<Collection>();
  logs->Add(Variant(u"stale"));
  ASSERT_FALSE(log.EventLogList(logs, folder));
  ASSERT_EQ(logs->Count(), 3);
  auto a = logs->ObjectAt<KivLogInfo>(1);
  auto c = logs->ObjectAt<KivLogInfo>(2);
  auto plain = logs->ObjectAt<KivLogInfo>(3);
  ASSERT_TRUE(a && c && plain);
  EXPECT_EQ(a->AppId(), u"A");
  EXPECT_EQ(a->Path(), folder + sep);
  EXPECT_EQ(a->FileName(), folder + sep + u"A_20240101");
  EXPECT_EQ(a->Day(), u"2024-01-01");
  EXPECT_EQ(a->unk(), u"");
  EXPECT_EQ(a->Events(), 0);
  EXPECT_EQ(c->AppId(), u"C_D");  // cut at the last "_"
  EXPECT_EQ(plain->AppId(), u"");
  EXPECT_EQ(plain->FileName(), folder + sep + u"PLAIN");

  // A trailing separator is not doubled; a missing folder lists nothing.
  ASSERT_FALSE(log.EventLogList(logs, folder + sep + sep));
  EXPECT_EQ(logs->ObjectAt<KivLogInfo>(1)->FileName(), folder + sep + u"A_20240101");
  ASSERT_FALSE(log.EventLogList(logs, folder + sep + u"none"));
  EXPECT_EQ(logs->Count(), 0);

  ClearLastError();
  EXPECT_TRUE(log.EventLogList(nullptr, folder));
  EXPECT_EQ(LastRecorded(), Recorded(91, u"KivLog.EventLogLIst"));
}

TEST_F(LogNamesTest, RenameMovesThePairToTheFirstFreeBackup) {
  KivLog log;
  const String base = Base(u"APP");
  EXPECT_FALSE(log.RenameLog(base));  // nothing to move
  EXPECT_FALSE(FileExists(base + u"-01.ZLG"));

  WriteAll(base + u".ZLG", "data1");
  WriteAll(base + u".ZLI", "idx1");
  EXPECT_FALSE(log.RenameLog(base));
  EXPECT_FALSE(FileExists(base + u".ZLG"));
  EXPECT_FALSE(FileExists(base + u".ZLI"));
  EXPECT_EQ(ReadAll(base + u"-01.ZLG"), "data1");
  EXPECT_EQ(ReadAll(base + u"-01.ZLI"), "idx1");

  WriteAll(base + u".ZLG", "data2");  // no index: only the data file moves
  EXPECT_FALSE(log.RenameLog(base));
  EXPECT_EQ(ReadAll(base + u"-02.ZLG"), "data2");
  EXPECT_FALSE(FileExists(base + u"-02.ZLI"));

  // Past 99 the counter grows wider.
  for (int n = 3; n <= 99; ++n) WriteAll(base + u"-" + ZeroPad(n, 2) + u".ZLG", "");
  WriteAll(base + u".ZLG", "data100");
  EXPECT_FALSE(log.RenameLog(base));
  EXPECT_EQ(ReadAll(base + u"-100.ZLG"), "data100");

  // A rename that cannot be made is recorded under the rename's own Source.
  const String other = Base(u"OTHER");
  WriteAll(other + u".ZLG", "d");
  WriteAll(other + u".ZLI", "i");
  WriteAll(other + u"-01.ZLI", "stray index");
  ClearLastError();
  EXPECT_TRUE(log.RenameLog(other));
  EXPECT_EQ(LastRecorded(), Recorded(58, u"KivLogRenameLog"));
  EXPECT_EQ(ReadAll(other + u"-01.ZLI"), "stray index");
}

}  // namespace
}  // namespace kiv::testing
