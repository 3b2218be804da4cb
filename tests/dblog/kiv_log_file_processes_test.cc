// Several processes reporting into one event log file at once.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "kivdbxt/error.h"
#include "kivdbxt/kiv_log_file.h"
#include "kivdbxt/qv_db_xt_mod.h"
#include "platform/fs.h"
#include "platform/vb_convert.h"
#include "sqlite_rows.h"
#include "support/temp_dir.h"

namespace kiv {
namespace {

using kivtest::TempDir;

constexpr int kPerProcess = 2000;

// Reports `count` events (ids 0, 1, ...) from a child process, closing the log at the end when
// asked; the child's exit code is its failure count.
pid_t Reporter(const String& file, bool keep_alive, int count = kPerProcess, bool close = false) {
  pid_t pid = fork();
  if (pid != 0) return pid;
  int failures = 0;
  {
    KivLogFile log;
    if (log.OpenEventLog(file, keep_alive)) _exit(100);
    for (int i = 0; i < count; ++i) {
      if (log.ReportEvent(u"P", u"Aevent", 2, u"", i)) {
        ++failures;
        ErrorRecord r = LastErrorRecord();
        std::fprintf(stderr, "report %d failed: %d %s (%s)\n", i, r.Number,
                     ToUtf8(r.Description).c_str(), ToUtf8(r.Source).c_str());
      }
    }
    if (close && log.CloseEventLog()) ++failures;
  }
  _exit(failures > 99 ? 99 : failures);
}

// Waits for the reporters; each must have reported every event.
void ExpectAllReported(const std::vector<pid_t>& pids) {
  for (pid_t p : pids) {
    int status = 0;
    waitpid(p, &status, 0);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0) << "reports that failed in one process";
  }
}

int32_t CountWhere(KivLogFile& log, const String& where) {
  int32_t pos = 0;
  return log.ReadEventLog(ELREF_COUNT, pos, where) == 0 ? pos : 0;
}

void RunTwo(const String& file, bool keep_alive) {
  ExpectAllReported({Reporter(file, keep_alive), Reporter(file, keep_alive)});
}

void ExpectLastChangeIsARecord(KivLogFile& log) {
  int32_t last = 0;
  ASSERT_NE(log.CheckEventLogChanges(last), -1);
  EXPECT_EQ(CountWhere(log, u"where UNK = " + IntText(last)) >= 1, true)
      << "LASTCHANGE " << last << " names no record";
}

class TwoProcesses : public testing::TestWithParam<bool> {};

TEST_P(TwoProcesses, NeverOverwriteKeepsEveryEvent) {
  TempDir dir;
  const String file = dir.File("log.db");
  KivLogFile log;
  ASSERT_FALSE(log.CreateEventLog(file, 1000, KLFWM_DONTOVERWRITE));
  RunTwo(file, GetParam());
  ASSERT_FALSE(log.OpenEventLog(file));
  EXPECT_EQ(CountWhere(log, u"where SOURCE = 'P'"), 2 * kPerProcess);
  // Each process's ids arrive complete: 0..1999 twice.
  EXPECT_EQ(CountWhere(log, u"where SOURCE = 'P' and ID = 0"), 2);
  EXPECT_EQ(CountWhere(log, u"where SOURCE = 'P' and ID = 1999"), 2);
  ExpectLastChangeIsARecord(log);
}

TEST_P(TwoProcesses, OverwriteAsNeededHoldsTheLimit) {
  TempDir dir;
  const String file = dir.File("log.db");
  KivLogFile log;
  ASSERT_FALSE(log.CreateEventLog(file, 1000, KLFWM_OVERWRITEASNEEDED));
  RunTwo(file, GetParam());
  ASSERT_FALSE(log.OpenEventLog(file));
  const int32_t total = CountWhere(log, String(u"where ID >= 0"));
  EXPECT_LE(total, 1000 + 4);
  EXPECT_GE(total, 1000 - 2 * 100);  // two processes may trim at the same moment
  ExpectLastChangeIsARecord(log);
}

INSTANTIATE_TEST_SUITE_P(KeepAlive, TwoProcesses, testing::Bool());

// The file as SQLite sees it, once recovered from any crash: its integrity and every PARMS row,
// duplicates included.
struct FileState {
  std::string integrity;
  std::multimap<std::string, std::string> parms;
  int events = 0;
};

FileState Inspect(const String& file) {
  FileState st;
  for (const auto& row : SqlRows(file, "PRAGMA integrity_check")) st.integrity += row[0];
  for (const auto& row : SqlRows(file, "SELECT KEY, VALUE FROM PARMS")) {
    st.parms.emplace(row[0], row[1]);
  }
  st.events = std::stoi(SqlRows(file, "SELECT count(*) FROM EVENTS").at(0).at(0));
  return st;
}

void ExpectOneRowPerKey(const FileState& st) {
  for (const char* key : {"WRAPPING", "MAXRECORDS", "BACKUPFILE", "LASTCHANGE", "LOCK"}) {
    EXPECT_EQ(st.parms.count(key), 1u) << key;
  }
  EXPECT_EQ(st.parms.size(), 5u);
}

// Four processes wrapping one small log at once: each trim is decided under the write lock, so
// the log is trimmed by one process at a time and never below MaxRecords - 100.
TEST(ManyProcesses, WrappingTrimsOneAtATimeAndKeepsOneParameterRowPerKey) {
  TempDir dir;
  const String file = dir.File("log.db");
  {
    KivLogFile log;
    ASSERT_FALSE(log.CreateEventLog(file, 150, KLFWM_OVERWRITEASNEEDED));
  }
  constexpr int kProcesses = 4, kReports = 150;
  std::vector<pid_t> pids;
  for (int p = 0; p < kProcesses; ++p) pids.push_back(Reporter(file, p % 2 == 0, kReports, true));
  ExpectAllReported(pids);
  const FileState st = Inspect(file);
  EXPECT_EQ(st.integrity, "ok");
  EXPECT_GE(st.events, 50);
  EXPECT_LE(st.events, 150 + 2);
  ExpectOneRowPerKey(st);
  EXPECT_EQ(st.parms.find("LOCK")->second, "0");
}

// Reporters killed at any moment of a report or a trim: the file stays whole, the purge marker
// is never left taken, and the next process reports as usual.
TEST(ManyProcesses, ReportersKilledMidWayLeaveAUsableLog) {
  TempDir dir;
  const String file = dir.File("log.db");
  {
    KivLogFile log;
    ASSERT_FALSE(log.CreateEventLog(file, 100, KLFWM_OVERWRITEASNEEDED));
    ASSERT_FALSE(log.OpenEventLog(file, true));
    for (int i = 0; i < 110; ++i) ASSERT_FALSE(log.ReportEvent(u"PRE", u"Ax"));  // one trim done
  }
  for (int round = 0; round < 20; ++round) {
    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    pid_t pid = fork();
    if (pid == 0) {
      KivLogFile log;
      if (log.OpenEventLog(file, round % 2 == 0)) _exit(100);
      if (write(ready[1], "r", 1) != 1) _exit(101);
      for (int i = 0;; ++i) {
        log.ReportEvent(u"K", u"Ax", 2, u"", i);
        if (i % 2 == 1) log.PurgeEventLog(2);  // purges often, to be killed in one
      }
    }
    close(ready[1]);
    char c = 0;
    ASSERT_EQ(read(ready[0], &c, 1), 1);
    close(ready[0]);
    usleep(static_cast<useconds_t>(2000 + 1700 * round));  // a different moment each round
    kill(pid, SIGKILL);
    int status = 0;
    waitpid(pid, &status, 0);

    const FileState st = Inspect(file);
    ASSERT_EQ(st.integrity, "ok") << "round " << round;
    ASSERT_NE(st.parms.find("LOCK"), st.parms.end());
    EXPECT_EQ(st.parms.find("LOCK")->second, "0") << "round " << round;
    ExpectOneRowPerKey(st);
    KivLogFile next;
    next.RetryWaitMilliseconds(10);
    ASSERT_FALSE(next.OpenEventLog(file)) << ToUtf8(LastErrorRecord().Description);
    ASSERT_FALSE(next.ReportEvent(u"NEXT", u"Aafter", 2, u"", round));
    EXPECT_EQ(CountWhere(next, u"where SOURCE = 'NEXT' and ID = " + IntText(round)), 1);
    EXPECT_LE(CountWhere(next, u"where ID >= 0"), 100 + 2);
  }
}

// Without KeepAlive a log keeps its connection between calls (the WAL stays until it is released,
// when idle or when the object ends), yet each report lands in the file standing at the log's
// path at that moment: compacted in place by another process, or removed and made anew by one
// that still has the new file open when the report comes.
TEST(KeptConnection, EachReportLandsInTheFileStandingAtItsPath) {
#if defined(__SANITIZE_ADDRESS__)
  // The children are forked while the idle-release thread may be allocating; AddressSanitizer's
  // allocator is not safe across such a fork, and a child can hang on its lock.
  GTEST_SKIP() << "forks beside a live thread, which AddressSanitizer's allocator cannot take";
#endif
  TempDir dir;
  const String file = dir.File("log.db");
  const String wal = file + u"-wal";
  const char* const kSources =
      "SELECT SOURCE FROM EVENTS WHERE SOURCE <> 'KIVEVENTLOG' ORDER BY UNK";
  KivLogFile log;
  ASSERT_FALSE(log.CreateEventLog(file, 1000, KLFWM_OVERWRITEASNEEDED));
  ASSERT_FALSE(log.OpenEventLog(file, false));
  ASSERT_FALSE(log.ReportEvent(u"ONE", u"Afirst"));
  EXPECT_TRUE(FileExists(wal)) << "the connection is kept between calls";
  usleep(1500 * 1000);
  EXPECT_FALSE(FileExists(wal)) << "an idle connection is released";

  pid_t compactor = fork();
  if (compactor == 0) {
    String name = file;
    _exit(QvDbXtMod::Db_Compact(name) ? 1 : 0);
  }
  int status = 0;
  waitpid(compactor, &status, 0);
  ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  ASSERT_FALSE(log.ReportEvent(u"TWO", u"Asecond"));
  EXPECT_EQ(SqlRows(file, kSources), (std::vector<std::vector<std::string>>{{"ONE"}, {"TWO"}}));

  int ready[2], go[2];
  ASSERT_EQ(pipe(ready), 0);
  ASSERT_EQ(pipe(go), 0);
  pid_t maker = fork();
  if (maker == 0) {
    for (const char16_t* suffix : {u"", u"-wal", u"-shm"}) RemoveFile(file + suffix);
    KivLogFile other;
    char c = 0;
    const bool made = !other.CreateEventLog(file, 1000, KLFWM_OVERWRITEASNEEDED) &&
                      !other.OpenEventLog(file, true) && write(ready[1], "r", 1) == 1 &&
                      read(go[0], &c, 1) == 1 && !other.ReportEvent(u"FOUR", u"Afourth");
    _exit(made && !other.CloseEventLog() ? 0 : 1);
  }
  char c = 0;
  ASSERT_EQ(read(ready[0], &c, 1), 1);
  ASSERT_FALSE(log.ReportEvent(u"THREE", u"Athird"));
  ASSERT_EQ(write(go[1], "g", 1), 1);
  waitpid(maker, &status, 0);
  ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  EXPECT_EQ(SqlRows(file, kSources), (std::vector<std::vector<std::string>>{{"THREE"}, {"FOUR"}}));
  EXPECT_EQ(SqlRows(file, "PRAGMA integrity_check").at(0).at(0), "ok");
  for (int fd : {ready[0], ready[1], go[0], go[1]}) close(fd);
}

}  // namespace
}  // namespace kiv
