// Purging files that POSIX ownership and a sticky folder keep from being removed.
#include <sys/stat.h>
#include <unistd.h>

#include "dailylog_support.h"
#include "support/in_child.h"
#include "support/last_error.h"

namespace kiv::testing {
namespace {

using LogPurgePosixTest = DailyLogTest;
using kivtest::Check;
using kivtest::LastErrorIs;

TEST_F(LogPurgePosixTest, FilesThatCannotBeRemovedStopThePurge) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs root to hand files to another user";
  const String shared = folder + u"/shared";
  ASSERT_EQ(::chmod(ToUtf8(folder).c_str(), 0755), 0);
  ASSERT_EQ(::mkdir(ToUtf8(shared).c_str(), 0777), 0);
  ASSERT_EQ(::chmod(ToUtf8(shared).c_str(), 01777), 0);
  const String root_owned = shared + u"/A_20240301";
  const String nobody_owned = shared + u"/B_20240301";
  MakeLog(root_owned);
  MakeLog(nobody_owned);
  for (const char16_t* ext : {u".ZLG", u".ZLI"}) {
    ASSERT_EQ(::chmod(ToUtf8(root_owned + ext).c_str(), 0666), 0);
    ASSERT_EQ(::chown(ToUtf8(nobody_owned + ext).c_str(), 65534, 65534), 0);
  }
  const String today = shared + u"/A_20240305";
  MakeLog(today);
  for (const char16_t* ext : {u".ZLG", u".ZLI"}) {
    ASSERT_EQ(::chmod(ToUtf8(today + ext).c_str(), 0666), 0);
  }

  // Run as nobody, for whom a file of root's in a sticky folder cannot be removed.
  EXPECT_EQ(kivtest::InChild([&] {
              if (::setgid(65534) != 0 || ::setuid(65534) != 0) return std::string("setuid");
              KivLog log;
              // The first log cannot go: the purge stops there and the second stays.
              std::string r =
                  Check(log.EventLogPurgeEx(Day1At(), u"", shared), "PurgeEx did not fail");
              r += LastErrorIs(20000, u"KivLog.EventLogPurgeEx",
                               u"Unable to remove log file " + root_owned + u".ZLI");
              r += Check(HasData(root_owned), "data file of the first log removed");
              r += Check(HasIndex(nobody_owned) && HasData(nobody_owned), "second log removed");

              // A failed purge of an open log keeps its Id.
              int32_t id = log.EventLogOpen(u"A", shared);
              r += Check(id != 0, "open");
              r += Check(log.EventLogPurge(id), "Purge did not fail");
              r += LastErrorIs(20000, u"KivLog.EventLogPurge",
                               u"Unable to remove log file " + today + u".ZLI");
              r += Check(!log.EventLogWrite(id, u"still open"), "Id forgotten");
              return r;
            }),
            "");
}

}  // namespace
}  // namespace kiv::testing
