// Purging one open log, or every day of a folder before a date.
#include "dailylog_support.h"
#include "support/last_error.h"

namespace kiv::testing {
namespace {

using LogPurgeTest = DailyLogTest;

TEST_F(LogPurgeTest, PurgeExRemovesDaysBeforeTheDate) {
  const String f = folder + kPathSeparator;
  for (const char16_t* name : {u"A_20240303", u"A_20240304", u"B_20240304", u"A_20240305",
                               u"A_20240306", u"APPX_20240301", u"APP_20240301", u"APP_20240305"}) {
    MakeLog(f + name);
  }
  WriteAll(f + u"B_20240302.ZLG", "index already gone");
  WriteAll(f + u"C_20240301.ZLI", "lone index");  // only data files are looked for
  WriteAll(f + u"MY_APP_20240301.ZLG", "day unreadable");
  WriteAll(f + u"notes.ZLG", "no underscore");

  KivLog log;
  // With AppId only that application's days go; APPX is another application.
  Date before = DateSerial(2024, 3, 5);
  ASSERT_FALSE(log.EventLogPurgeEx(before, u"APP", folder));
  EXPECT_FALSE(HasData(f + u"APP_20240301"));
  EXPECT_FALSE(HasIndex(f + u"APP_20240301"));
  EXPECT_TRUE(HasData(f + u"APP_20240305"));
  EXPECT_TRUE(HasData(f + u"APPX_20240301"));
  EXPECT_TRUE(HasData(f + u"A_20240303"));
  EXPECT_EQ(before, DateSerial(2024, 3, 5));

  // Without AppId every day before the date's day goes, whatever its time; a missing index is
  // no obstacle, a lone index and unreadable names stay.
  ASSERT_FALSE(log.EventLogPurgeEx(Day1At(23, 59), u"", folder + u"//"));
  for (const char16_t* gone :
       {u"A_20240303", u"A_20240304", u"B_20240304", u"B_20240302", u"APPX_20240301"}) {
    EXPECT_FALSE(HasData(f + gone)) << ToUtf8(gone);
    EXPECT_FALSE(HasIndex(f + gone)) << ToUtf8(gone);
  }
  for (const char16_t* kept : {u"A_20240305", u"A_20240306", u"APP_20240305"}) {
    EXPECT_TRUE(HasData(f + kept) && HasIndex(f + kept)) << ToUtf8(kept);
  }
  EXPECT_TRUE(HasIndex(f + u"C_20240301"));
  EXPECT_TRUE(HasData(f + u"MY_APP_20240301"));
  EXPECT_TRUE(HasData(f + u"notes"));

  // Backups made by mode 4 carry their day and go with it.
  MakeLog(f + u"A_20240304-01");
  ASSERT_FALSE(log.EventLogPurgeEx(DateSerial(2024, 3, 5), u"A", folder));
  EXPECT_FALSE(HasData(f + u"A_20240304-01"));
  EXPECT_FALSE(HasIndex(f + u"A_20240304-01"));
}

TEST_F(LogPurgeTest, PurgeOfAnOpenLogRemovesItsCurrentDayOnly) {
  KivLog log;
  const Date yesterday = DateSerial(2024, 3, 4);
  MakeLog(Base(u"APP", yesterday));
  int32_t id = log.EventLogOpen(u"APP", folder);
  ASSERT_NE(id, 0);
  ASSERT_FALSE(log.EventLogWrite(id, u"x"));
  ASSERT_FALSE(log.EventLogPurge(id));
  EXPECT_FALSE(HasData(Base(u"APP")));
  EXPECT_FALSE(HasIndex(Base(u"APP")));
  EXPECT_TRUE(HasData(Base(u"APP", yesterday)));

  // The Id is forgotten; no "Closed" marker brings the files back.
  EXPECT_TRUE(log.EventLogWrite(id, u"y"));
  EXPECT_EQ(LastErrorRecord().Description, u"Eventlog not started.");
  EXPECT_TRUE(log.EventLogPurge(id));
  kivtest::ExpectLastError(20000, u"KivLog.EventLogPurge", u"Eventlog not started.");
  EXPECT_TRUE(log.EventLogPurge());
  EXPECT_EQ(LastErrorRecord().Description, u"Eventlog not started.");

  // Files already gone count as removed.
  int32_t again = log.EventLogOpen(u"APP", folder);
  ASSERT_NE(again, 0);
  std::filesystem::remove(ToUtf8(Base(u"APP") + u".ZLI"));
  std::filesystem::remove(ToUtf8(Base(u"APP") + u".ZLG"));
  EXPECT_FALSE(log.EventLogPurge(again));
}

}  // namespace
}  // namespace kiv::testing
