// Several processes reporting into one event log file at once.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>

#include "kivdbxt/error.h"
#include "kivdbxt/kiv_log_file.h"
#include "platform/vb_convert.h"
#include "support/temp_dir.h"

namespace kiv {
namespace {

using kivtest::TempDir;

constexpr int kPerProcess = 2000;

// Reports kPerProcess events from a child process; the child's exit code is its failure count.
pid_t Reporter(const String& file, bool keep_alive) {
  pid_t pid = fork();
  if (pid != 0) return pid;
  int failures = 0;
  {
    KivLogFile log;
    if (log.OpenEventLog(file, keep_alive)) _exit(100);
    for (int i = 0; i < kPerProcess; ++i) {
      if (log.ReportEvent(u"P", u"Aevent", 2, u"", i)) {
        ++failures;
        ErrorRecord r = LastErrorRecord();
        std::fprintf(stderr, "report %d failed: %d %s (%s)\n", i, r.Number,
                     ToUtf8(r.Description).c_str(), ToUtf8(r.Source).c_str());
      }
    }
  }
  _exit(failures > 99 ? 99 : failures);
}

int32_t CountWhere(KivLogFile& log, const String& where) {
  int32_t pos = 0;
  return log.ReadEventLog(ELREF_COUNT, pos, where) == 0 ? pos : 0;
}

void RunTwo(const String& file, bool keep_alive) {
  pid_t a = Reporter(file, keep_alive), b = Reporter(file, keep_alive);
  for (pid_t p : {a, b}) {
    int status = 0;
    waitpid(p, &status, 0);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0) << "reports that failed in one process";
  }
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

}  // namespace
}  // namespace kiv
