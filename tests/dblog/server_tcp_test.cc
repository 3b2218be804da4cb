// A reporter and a watcher reaching the server through TCP on 127.0.0.1, logging in by password
// (scram-sha-256): without a password an open fails at once and says why; the password works from
// the URI, from PGPASSWORD and from a password file; it never shows in FileName, in an error, or
// in kivlog's output or errors.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <mutex>
#include <string>
#include <thread>

#include "kivdbxt/error.h"
#include "kivdbxt/kiv_log_file.h"
#include "support/env_var.h"
#include "support/kivlog_tool.h"
#include "support/last_error.h"
#include "support/pg_server.h"
#include "support/temp_dir.h"

namespace kiv {
namespace {

using Clock = std::chrono::steady_clock;

// kivlog with these arguments, its output and its errors read as they come, until stopped.
class Running {
 public:
  explicit Running(std::vector<std::string> args) {
    int out[2];
    if (pipe(out) != 0) return;
    pid_ = fork();
    if (pid_ == 0) {
      dup2(out[1], 1);
      dup2(out[1], 2);
      close(out[0]);
      std::vector<char*> argv{const_cast<char*>("kivlog")};
      for (std::string& a : args) argv.push_back(a.data());
      argv.push_back(nullptr);
      execv(kivtest::KivlogPath().c_str(), argv.data());
      _exit(127);
    }
    close(out[1]);
    reader_ = std::thread([this, fd = out[0]] {
      char buf[4096];
      for (ssize_t n; (n = read(fd, buf, sizeof buf)) > 0;) {
        std::lock_guard<std::mutex> lock(mu_);
        text_.append(buf, n);
      }
      close(fd);
    });
  }
  ~Running() { Stop(); }
  std::string Text() {
    std::lock_guard<std::mutex> lock(mu_);
    return text_;
  }
  // Waits up to 20 s for `what` in the output.
  bool Shows(const std::string& what) {
    for (const auto end = Clock::now() + std::chrono::seconds(20); Clock::now() < end;) {
      if (Text().find(what) != std::string::npos) return true;
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return false;
  }
  void Stop() {
    if (pid_ <= 0) return;
    kill(pid_, SIGTERM);
    waitpid(pid_, nullptr, 0);
    pid_ = 0;
    reader_.join();
  }

 private:
  pid_t pid_ = 0;
  std::thread reader_;
  std::mutex mu_;
  std::string text_;
};

TEST(ServerOverTcp, ThePasswordIsAskedForUsedAndNeverShown) {
  const auto uri = kivtest::PgState("tcp/uri");  // postgresql://kiv_pw@127.0.0.1:<port>/kivtest
  const auto password = kivtest::PgState("tcp/password");
  if (!uri || !password) GTEST_SKIP() << "no TCP test server: run through ctest";
  const std::string with_password = *uri + "?password=" + *password;
  kivtest::TempDir dir;
  const std::string no_file = dir.FileU8("none");
  kivtest::EnvVar no_env("PGPASSWORD", nullptr), no_pgpass("PGPASSFILE", no_file.c_str());

  KivLogFile log;
  ASSERT_FALSE(log.CreateEventLog(FromUtf8(with_password), 100, KLFWM_DONTOVERWRITE))
      << ToUtf8(LastErrorRecord().Description);
  EXPECT_EQ(log.FileName(), FromUtf8(*uri));

  // Without a password: refused at the first attempt (ten attempts 2 s apart would take 18 s).
  const auto start = Clock::now();
  EXPECT_TRUE(log.OpenEventLog(FromUtf8(*uri)));
  EXPECT_LT(Clock::now() - start, std::chrono::seconds(2));
  kivtest::ExpectLastError(3029, u"KivLogFile.OpenLog", u"Not a valid account name or password.");
  int rc = 0;
  const std::string refused =
      kivtest::RunShell(kivtest::KivlogPath() + " db show '" + *uri + "' 2>&1", &rc);
  EXPECT_NE(rc, 0);
  EXPECT_NE(refused.find("Not a valid account name or password."), std::string::npos) << refused;

  // A server that cannot be reached is named without the password.
  log.RetryWaitMilliseconds(1);
  EXPECT_TRUE(log.OpenEventLog(u"postgresql://kiv_pw:" + FromUtf8(*password) +
                               u"@127.0.0.1:1/kivtest?connect_timeout=1"));
  EXPECT_EQ(LastErrorRecord().Description,
            u"ODBC--connection to 'postgresql://kiv_pw@127.0.0.1:1/kivtest?connect_timeout=1' "
            u"failed.");

  // The watcher has the password in its URI; one reporter has it from PGPASSWORD, the other
  // from a password file.
  Running watch({"--json", "db", "watch", with_password, "--interval", "50"});
  KivLogFile ready;
  ASSERT_FALSE(ready.OpenEventLog(FromUtf8(with_password), true));
  for (int i = 0; i < 200 && watch.Text().empty(); ++i) {
    ASSERT_FALSE(ready.ReportEvent(u"READY", u"Ax"));
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  ASSERT_FALSE(watch.Text().empty()) << "the watch printed nothing";
  EXPECT_EQ(kivtest::RunShell("PGPASSWORD=" + *password + " " + kivtest::KivlogPath() +
                                  " db report --source FROMENV --raw x '" + *uri + "' 2>&1",
                              &rc),
            "");
  EXPECT_EQ(rc, 0);
  const std::string pgpass = dir.FileU8("pgpass");
  const size_t port_at = uri->rfind(':') + 1;
  std::ofstream(pgpass) << "127.0.0.1:" << uri->substr(port_at, uri->find('/', port_at) - port_at)
                        << ":kivtest:kiv_pw:" << *password << "\n";
  chmod(pgpass.c_str(), 0600);
  {
    kivtest::EnvVar file("PGPASSFILE", pgpass.c_str());
    KivLogFile reporter;
    ASSERT_FALSE(reporter.OpenEventLog(FromUtf8(*uri))) << ToUtf8(LastErrorRecord().Description);
    ASSERT_FALSE(reporter.ReportEvent(u"FROMFILE", u"Ax"));
    ASSERT_FALSE(reporter.CloseEventLog());
  }
  EXPECT_TRUE(watch.Shows("\"source\":\"FROMENV\""));
  EXPECT_TRUE(watch.Shows("\"source\":\"FROMFILE\""));
  watch.Stop();
  EXPECT_EQ(watch.Text().find(*password), std::string::npos);
  EXPECT_EQ(refused.find(*password), std::string::npos);
  ASSERT_FALSE(ready.CloseEventLog());
}

}  // namespace
}  // namespace kiv
