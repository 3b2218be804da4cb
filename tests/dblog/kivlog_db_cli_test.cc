// kivlog db show and watch, run as a user runs them.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "dao/engine/engine.h"
#include "kivdbxt/dao.h"
#include "kivdbxt/kiv_log_file.h"
#include "sqlite_rows.h"
#include "support/kivlog_tool.h"
#include "support/temp_dir.h"
#include "support/test_database.h"

namespace kiv {
namespace {

using kivtest::JsonLines;
using kivtest::ReadBytes;
using kivtest::TempDir;

std::string Tool() { return kivtest::KivlogPath(); }

std::string RunTool(const std::string& args) {
  return kivtest::RunShell(Tool() + " " + args + " 2>/dev/null");
}

// On either engine: the log is a file or a server URI, given to the shell quoted.
class KivlogDb : public kivtest::OnBothEngines {
 protected:
  void SetUp() override {
    kivtest::OnBothEngines::SetUp();
    if (IsSkipped()) return;
    if (!std::filesystem::exists(Tool())) GTEST_SKIP() << "kivlog not built";
    file_ = ToUtf8(dbs_.Name("log.db"));
    arg_ = "'" + file_ + "'";
    KivLogFile log;
    ASSERT_FALSE(log.CreateEventLog(FromUtf8(file_), 1000, KLFWM_DONTOVERWRITE));
  }
  // The log's bytes on disk; nothing on a server.
  std::string Bytes() const { return dbs_.OnServer() ? std::string() : ReadBytes(file_); }

  kivtest::TestDatabases dbs_{GetParam()};
  std::string file_, arg_;
};
KIV_ON_BOTH_ENGINES(KivlogDb);

// Showing decodes text stored as UTF-16 code units, gives the type letter as the data type, and
// leaves the file exactly as it was.
TEST_P(KivlogDb, ShowReadsWithoutWritingAndDecodesRawData) {
  {
    KivLogFile log;
    ASSERT_FALSE(log.OpenEventLog(FromUtf8(file_)));
    ASSERT_FALSE(log.ReportEventEx(u"S", u"Città 20 €", RWDT_ASCII, 2, u"", 1));
    ASSERT_FALSE(log.ReportEventEx(u"S", u"0D0A", RWDT_BINARY, 2, u"", 2));
    ASSERT_FALSE(log.ReportEvent(u"S", u"plain", 2, u"", 3));
    ASSERT_FALSE(log.CloseEventLog());
  }
  const std::string before = Bytes();
  auto page = JsonLines(RunTool("--json db show " + arg_));
  ASSERT_EQ(page.size(), 5u);
  EXPECT_EQ(page[2]["rawdata"], "Città 20 €");
  EXPECT_EQ(page[2]["datatype"], RWDT_ASCII);
  EXPECT_EQ(page[3]["rawdata"], "0D0A");
  EXPECT_EQ(page[3]["datatype"], RWDT_BINARY);
  EXPECT_EQ(page[4]["rawdata"], "plain");  // stored without a letter: all of it is the text
  EXPECT_EQ(page[4]["datatype"], RWDT_ASCII);
  auto last = JsonLines(RunTool("--json db show --mode last " + arg_));
  ASSERT_EQ(last.size(), 1u);
  EXPECT_EQ(last[0]["rawdata"], "plain");  // not a marker of the viewer's own
  EXPECT_EQ(Bytes(), before);
  const std::string text = RunTool("db show " + arg_);
  EXPECT_NE(text.find("\n    Città 20 €\n"), std::string::npos) << text;
}

// --since and --until narrow a page as journalctl's do, together with a where-clause; --where
// takes a condition with or without its "where", for show and purge alike; -n is --count.
TEST_P(KivlogDb, ShowBetweenSinceAndUntilAndByCondition) {
  {
    KivLogFile log;
    ASSERT_FALSE(log.OpenEventLog(FromUtf8(file_)));
    ASSERT_FALSE(log.ReportEvent(u"S", u"one", 2, u"", 41));
    ASSERT_FALSE(log.ReportEvent(u"S", u"two", 2, u"", 42));
    ASSERT_FALSE(log.CloseEventLog());
  }
  auto ids = [&](const std::string& args) {
    std::vector<int> out;
    for (const auto& r : JsonLines(RunTool("--json db show " + args + " " + arg_))) {
      if (r["source"] == "S") out.push_back(r["id"].get<int>());
    }
    return out;
  };
  EXPECT_EQ(ids("--since -1h"), (std::vector<int>{41, 42}));
  EXPECT_EQ(ids("--since today --until now"), (std::vector<int>{41, 42}));
  EXPECT_EQ(ids("--until yesterday"), std::vector<int>{});
  EXPECT_EQ(ids("--since tomorrow"), std::vector<int>{});
  EXPECT_EQ(ids("--since -1h --where \"WHERE ID = 42\""), std::vector<int>{42});
  EXPECT_EQ(ids("-r -S -1d --where \"ID >= 41\""), (std::vector<int>{42, 41}));
  EXPECT_EQ(ids("--where \"ID = 42\""), std::vector<int>{42});
  EXPECT_EQ(ids("--where \" where ID = 41\""), std::vector<int>{41});
  EXPECT_EQ(ids("-n 1 --where \"SOURCE = 'S'\""), std::vector<int>{41});
  EXPECT_EQ(RunTool("db show --mode count --where \"ID > 40\" " + arg_), "2\n");
  EXPECT_EQ(RunTool("db purge --where \"ID = 41\" " + arg_), "");
  EXPECT_EQ(ids(""), std::vector<int>{42});
}

// Five reports made at once by other processes: the watch prints each of them once, in order.
TEST_P(KivlogDb, WatchPrintsEveryRecordOnceInOrder) {
  int out[2];
  ASSERT_EQ(pipe(out), 0);
  pid_t watch = fork();
  if (watch == 0) {
    dup2(out[1], 1);
    close(out[0]);
    execl(Tool().c_str(), "kivlog", "--json", "db", "watch", file_.c_str(), "--interval", "20",
          static_cast<char*>(nullptr));
    _exit(127);
  }
  close(out[1]);
  std::mutex mu;
  std::string text;
  std::thread reader([&] {
    char buf[4096];
    for (ssize_t n; (n = read(out[0], buf, sizeof buf)) > 0;) {
      std::lock_guard<std::mutex> lock(mu);
      text.append(buf, n);
    }
  });
  auto lines = [&](const std::string& what) {
    std::lock_guard<std::mutex> lock(mu);
    int n = 0;
    for (size_t at = 0; (at = text.find(what, at)) != std::string::npos; ++at) ++n;
    return n;
  };

  // Until the watch shows it is looking, markers; then five processes report at once.
  KivLogFile log;
  ASSERT_FALSE(log.OpenEventLog(FromUtf8(file_), true));
  const auto give_up = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (lines("\n") == 0 && std::chrono::steady_clock::now() < give_up) {
    ASSERT_FALSE(log.ReportEvent(u"READY", u"Ax"));
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  ASSERT_GT(lines("\n"), 0) << "the watch printed nothing";
  std::vector<pid_t> reporters;
  for (int id = 1; id <= 5; ++id) {
    pid_t pid = fork();
    if (pid == 0) {
      KivLogFile other;
      const bool failed =
          other.OpenEventLog(FromUtf8(file_)) || other.ReportEvent(u"P", u"Ax", 2, u"", id);
      _exit(failed ? 1 : 0);
    }
    reporters.push_back(pid);
  }
  for (pid_t pid : reporters) {
    int status = 0;
    waitpid(pid, &status, 0);
    EXPECT_EQ(WEXITSTATUS(status), 0);
  }
  while (lines("\"source\":\"P\"") < 5 && std::chrono::steady_clock::now() < give_up) {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  // A report that took its date before it waited for the lock commits with a date older than
  // records the watch has printed already; then a report as usual.
  {
    auto db = dao::DBEngine::ForThread()->OpenDatabase(FromUtf8(file_));
    const String bytes = dbs_.OnServer() ? u"'\\x4178'" : u"X'4178'";  // each engine's own SQL
    db->Execute(
        u"INSERT INTO EVENTS (UNK, DATE, TYPE, ID, SOURCE, RAWDATA) VALUES "
        u"(7, (SELECT MAX(DATE) FROM EVENTS) - 0.001, 2, 6, 'LATE', " +
            bytes + u")",
        dao::dbFailOnError);
    db->Close();
  }
  ASSERT_FALSE(log.ReportEvent(u"AFTER", u"Ax", 2, u"", 7));
  while (lines("\"source\":\"AFTER\"") < 1 && std::chrono::steady_clock::now() < give_up) {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  std::this_thread::sleep_for(std::chrono::milliseconds(200));  // a sixth would show by now
  kill(watch, SIGTERM);
  waitpid(watch, nullptr, 0);
  reader.join();
  close(out[0]);

  std::vector<int> p_ids, last_ids;
  for (const auto& line : JsonLines(text)) {
    EXPECT_EQ(line["event"], "EventLogChanged");
    EXPECT_EQ(line["EvId"], line["record"]["id"]);
    if (line["record"]["source"] == "P") p_ids.push_back(line["EvId"]);
    const std::string source = line["record"]["source"];
    if (source == "P" || source == "LATE" || source == "AFTER") last_ids.push_back(line["EvId"]);
  }
  std::sort(p_ids.begin(), p_ids.end());
  EXPECT_EQ(p_ids, (std::vector<int>{1, 2, 3, 4, 5}));
  // In the order the reports committed, each once: the late-dated one before the last.
  ASSERT_GE(last_ids.size(), 2u);
  EXPECT_EQ(std::vector<int>(last_ids.end() - 2, last_ids.end()), (std::vector<int>{6, 7}));
  EXPECT_EQ(last_ids.size(), 7u);
}

// A log file made by the version before servers, stored as it made it: it shows exactly what that
// version showed, and a report adds its rows without touching a table, index or trigger.
TEST(KivlogDbOldFile, ALogMadeBeforeServersShowsAsBeforeAndKeepsItsSchema) {
  if (!std::filesystem::exists(Tool())) GTEST_SKIP() << "kivlog not built";
  const std::string data = KIV_DBLOG_DATA;
  TempDir dir;
  const std::string file = dir.FileU8("log_before_servers.db");
  std::filesystem::copy_file(data + "/log_before_servers.db", file);
  auto schema = [&] {
    return SqlRows(FromUtf8(file), "SELECT type, name, sql FROM sqlite_master ORDER BY 1, 2");
  };
  const auto before = schema();
  ASSERT_EQ(before.size(), 10u);
  const std::string cd = "cd '" + dir.FileU8("") + "' && ";
  EXPECT_EQ(kivtest::RunShell(cd + Tool() + " --json --utc db show log_before_servers.db"),
            ReadBytes(data + "/log_before_servers.json"));
  EXPECT_EQ(RunTool("db report --source New --raw after '" + file + "'"), "");
  EXPECT_EQ(RunTool("db show --mode count '" + file + "'"), "9\n");  // with the open's "Started"
  EXPECT_EQ(schema(), before);
}

// Every db subcommand takes a server URI with a password: the password is used, and neither the
// output nor an error shows it.
TEST(KivlogDbServer, EveryCommandTakesAUriAndNoneShowsItsPassword) {
  const auto password = kivtest::PgState("password");
  if (!password) GTEST_SKIP() << "no test server: run through ctest";
  if (!std::filesystem::exists(Tool())) GTEST_SKIP() << "kivlog not built";
  const std::string schema = "cli_" + std::to_string(getpid());
  dao::engine::OpenPostgres(*kivtest::PgTestUri(), {})
      ->Exec("CREATE SCHEMA " + schema + "; GRANT ALL ON SCHEMA " + schema + " TO kiv_pw");
  const std::string base = "postgresql:///kivtest?host=" + kivtest::PgSocketDir() + "&user=kiv_pw";
  const std::string path = "&options=-csearch_path%3D" + schema + "%2Cpublic";
  const std::string uri = "'" + base + "&password=" + *password + path + "'";
  auto run = [&](const std::string& args) {
    const std::string out = kivtest::RunShell(Tool() + " " + args + " 2>&1");
    EXPECT_EQ(out.find(*password), std::string::npos) << args;
    return out;
  };
  EXPECT_EQ(run("db create --max-records 100 --wrapping 0 " + uri),
            "created " + base + path + "\n");
  EXPECT_EQ(run("db report --source S --raw hello --id 5 " + uri), "");
  EXPECT_EQ(run("db show --mode count " + uri), "3\n");  // Created, Started, hello
  auto last = JsonLines(run("--json db show --mode last " + uri));
  ASSERT_EQ(last.size(), 1u);
  EXPECT_EQ(last[0]["rawdata"], "hello");
  EXPECT_EQ(run("db purge --where \"SOURCE = 'S'\" " + uri), "");
  EXPECT_EQ(run("db show --mode count --where \"SOURCE = 'S'\" " + uri), "0\n");
  EXPECT_EQ(run("db compact " + uri), "");
  auto settings = JsonLines(run("--json db settings --sync full " + uri));
  ASSERT_EQ(settings.size(), 1u);
  EXPECT_EQ(settings[0]["max_records"], 100);
  EXPECT_EQ(settings[0]["sync"], "FULL");
  // A refused password is not tried again (ten attempts 2 s apart would take 18 s).
  const auto start = std::chrono::steady_clock::now();
  const std::string refused = run("db show '" + base + "&password=not-" + *password + path + "'");
  EXPECT_NE(refused.find("error 3029"), std::string::npos) << refused;
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
}

}  // namespace
}  // namespace kiv
