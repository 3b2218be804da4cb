// Several processes reporting into one event log at once.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "dao/engine/engine.h"
#include "kivdbxt/dao.h"
#include "kivdbxt/error.h"
#include "kivdbxt/kiv_log_file.h"
#include "kivdbxt/qv_db_xt_mod.h"
#include "platform/fs.h"
#include "platform/vb_convert.h"
#include "sqlite_rows.h"
#include "support/temp_dir.h"
#include "support/test_database.h"

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

// The log as it stands once recovered from any crash: a file's integrity, every PARMS row
// (duplicates included) and the number of records.
struct LogState {
  std::string integrity = "ok";
  std::multimap<std::string, std::string> parms;
  int events = 0;
};

LogState Inspect(const String& name, bool on_server) {
  LogState st;
  if (!on_server) {
    st.integrity.clear();
    for (const auto& row : SqlRows(name, "PRAGMA integrity_check")) st.integrity += row[0];
  }
  auto db = dao::DBEngine::ForThread()->OpenDatabase(name);
  auto parms = db->OpenRecordset(u"select KEY, VALUE from PARMS", dao::dbOpenSnapshot);
  for (; !parms->EOF_(); parms->MoveNext()) {
    st.parms.emplace(ToUtf8(CStr(parms->Fields().Item(0)->Value())),
                     ToUtf8(CStr(parms->Fields().Item(1)->Value())));
  }
  auto count = db->OpenRecordset(u"select count(*) from EVENTS", dao::dbOpenSnapshot);
  st.events = CLng(count->Fields().Item(0)->Value());
  db->Close();
  return st;
}

void ExpectOneRowPerKey(const LogState& st) {
  for (const char* key : {"WRAPPING", "MAXRECORDS", "BACKUPFILE", "LASTCHANGE", "LOCK"}) {
    EXPECT_EQ(st.parms.count(key), 1u) << key;
  }
  EXPECT_EQ(st.parms.size(), 5u);
}

class ManyProcesses : public kivtest::OnBothEngines {
 protected:
  kivtest::TestDatabases dbs{GetParam()};
  const String file = dbs.Name("log.db");
};
KIV_ON_BOTH_ENGINES(ManyProcesses);

// Four processes wrapping one small log at once: each trim is decided under the write lock, so
// the log is trimmed by one process at a time and never below MaxRecords - 100.
TEST_P(ManyProcesses, WrappingTrimsOneAtATimeAndKeepsOneParameterRowPerKey) {
  {
    KivLogFile log;
    ASSERT_FALSE(log.CreateEventLog(file, 150, KLFWM_OVERWRITEASNEEDED));
  }
  constexpr int kProcesses = 4, kReports = 150;
  std::vector<pid_t> pids;
  for (int p = 0; p < kProcesses; ++p) pids.push_back(Reporter(file, p % 2 == 0, kReports, true));
  ExpectAllReported(pids);
  const LogState st = Inspect(file, dbs.OnServer());
  EXPECT_EQ(st.integrity, "ok");
  EXPECT_GE(st.events, 50);
  EXPECT_LE(st.events, 150 + 2);
  ExpectOneRowPerKey(st);
  EXPECT_EQ(st.parms.find("LOCK")->second, "0");
}

// Reporters killed at any moment of a report or a trim: the log stays whole, the purge marker
// is never left taken, and the next process reports as usual.
TEST_P(ManyProcesses, ReportersKilledMidWayLeaveAUsableLog) {
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

    const LogState st = Inspect(file, dbs.OnServer());
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

// A follower in another process, waiting for changes and reading on by id while four processes
// report and wrap the log, sees every report once, each process's in the order it made them.
TEST_P(ManyProcesses, AFollowerByIdSeesEveryReportOnceAndInOrder) {
  constexpr int kProcesses = 4, kReports = 300;
  {
    KivLogFile log;
    ASSERT_FALSE(log.CreateEventLog(file, 1000, KLFWM_OVERWRITEASNEEDED));
  }
  int ready[2];
  ASSERT_EQ(pipe(ready), 0);
  const pid_t follower = fork();
  if (follower == 0) {
    KivLogFile log;
    int64_t last = -1;
    int32_t max = 0, unk = 0;
    if (log.OpenEventLogReadOnly(file) || log.ReadEventLogAfter(last, max) != 1 ||
        log.CheckEventLogChanges(unk) < 0 || write(ready[1], "r", 1) != 1)
      _exit(100);
    std::map<String, int32_t> next;  // the id each process's next report must carry
    int faults = 0, done = 0;
    while (done < kProcesses && faults < 50) {
      if (log.WaitEventLogChanges(20000, unk) != 1) _exit(101);
      for (int32_t got = 400; (got = 400, log.ReadEventLogAfter(last, got)) == 0;) {
        for (int32_t k = 1; k <= got; ++k) {
          const LOGRECORDTYPE r = log.LogRecordEx(k);
          if (r.EvSource.rfind(u"P", 0) != 0) continue;
          if (r.EvId != next[r.EvSource]++) ++faults;
          if (r.EvId == kReports - 1) ++done;
        }
      }
    }
    _exit(faults);
  }
  close(ready[1]);
  char c = 0;
  ASSERT_EQ(read(ready[0], &c, 1), 1);
  close(ready[0]);
  std::vector<pid_t> pids;
  for (int p = 0; p < kProcesses; ++p) {
    pids.push_back(fork());
    if (pids.back() == 0) {
      KivLogFile log;
      int failures = log.OpenEventLog(file, true) ? 1 : 0;
      const String source = u"P" + IntText(p);
      for (int i = 0; i < kReports; ++i) failures += log.ReportEvent(source, u"Ax", 2, u"", i);
      _exit(failures);
    }
  }
  ExpectAllReported(pids);
  int status = 0;
  waitpid(follower, &status, 0);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0) << "reports the follower missed, saw twice or out of order";
  const LogState st = Inspect(file, dbs.OnServer());
  EXPECT_GE(st.events, 1000 - 100);
  EXPECT_LE(st.events, 1000 + 4);
  ExpectOneRowPerKey(st);
}

// On a server, a listener in another process hears of every report that commits, and of none
// that rolls back.
TEST(ServerNotices, AListenerHearsEveryCommitAndNoRollback) {
  kivtest::TestDatabases dbs(kivtest::Db::kPostgres);
  if (!dbs.Available()) GTEST_SKIP() << "no test server: run through ctest";
  const String file = dbs.Name("log");
  KivLogFile log;
  ASSERT_FALSE(log.CreateEventLog(file, 1000, KLFWM_DONTOVERWRITE));
  ASSERT_FALSE(log.OpenEventLog(file, true));
  dao::engine::OpenPostgres(ToUtf8(file), {})
      ->Exec(
          "CREATE FUNCTION refuse() RETURNS trigger LANGUAGE plpgsql AS $$ BEGIN "
          "IF NEW.source = 'BAD' THEN RAISE EXCEPTION 'refused'; END IF; RETURN NEW; END $$; "
          "CREATE TRIGGER refuse BEFORE INSERT ON events FOR EACH ROW EXECUTE FUNCTION refuse()");
  int ready[2], heard[2];
  ASSERT_EQ(pipe(ready), 0);
  ASSERT_EQ(pipe(heard), 0);
  const pid_t listener = fork();
  if (listener == 0) {
    auto conn = dao::engine::OpenPostgres(ToUtf8(file), {});
    conn->Notices()->Listen("kivlog");
    if (write(ready[1], "r", 1) != 1) _exit(1);
    int n = 0;
    for (int got; (got = conn->Notices()->Wait(1500)) > 0;) n += got;  // until 1.5 s of quiet
    _exit(write(heard[1], &n, sizeof n) == sizeof n ? 0 : 1);
  }
  char c = 0;
  ASSERT_EQ(read(ready[0], &c, 1), 1);
  int refused = 0;
  for (int i = 0; i < 20; ++i) {
    ASSERT_FALSE(log.ReportEvent(u"OK", u"Ax", 2, u"", i));
    if (i % 4 == 0) refused += log.ReportEvent(u"BAD", u"Ax", 2, u"", i) ? 1 : 0;
  }
  EXPECT_EQ(refused, 5);
  int n = -1;
  ASSERT_EQ(read(heard[0], &n, sizeof n), static_cast<ssize_t>(sizeof n));
  EXPECT_EQ(n, 20);
  int status = 0;
  waitpid(listener, &status, 0);
  for (int fd : {ready[0], ready[1], heard[0], heard[1]}) close(fd);
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
