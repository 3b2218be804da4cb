// The kivlog subcommands for daily logs, run as a user runs them.
#include <unistd.h>

#include <cstdio>
#include <nlohmann/json.hpp>

#include "dailylog_support.h"

namespace kiv::testing {
namespace {

class KivlogCliTest : public DailyLogTest {
 protected:
  void SetUp() override {
    DailyLogTest::SetUp();
    SetClock({});  // the tool runs in its own process, on the real clock
    std::filesystem::path exe = std::filesystem::read_symlink("/proc/self/exe");
    tool_ = (exe.parent_path().parent_path() / "tools/kivlog/kivlog").string();
    if (!std::filesystem::exists(tool_)) GTEST_SKIP() << "kivlog not built";
  }

  // Runs kivlog with the test folder as the program-files folder; returns its standard output.
  std::string Run(const std::string& args, const std::string& input = "", int* rc = nullptr) {
    std::string cmd = "printf '" + input + "' | KIV_PROGRAMFILESDIR='" + ToUtf8(folder) + "' " +
                      tool_ + " " + args + " 2>/dev/null";
    FILE* p = ::popen(cmd.c_str(), "r");
    std::string out;
    char buf[4096];
    for (size_t n; (n = std::fread(buf, 1, sizeof buf, p)) > 0;) out.append(buf, n);
    int status = ::pclose(p);
    if (rc) *rc = WEXITSTATUS(status);
    return out;
  }

  std::string tool_;
};

TEST_F(KivlogCliTest, WriteShowTailListPurge) {
  int rc = -1;
  Run("write --app CLI --source SRC --type 1 --id 9 first event", "", &rc);
  EXPECT_EQ(rc, 0);
  Run("write --app CLI --anonymous", "line one\\nline two\\n", &rc);
  EXPECT_EQ(rc, 0);

  // Two writes: two Open and two Closed markers around three events.
  auto page = nlohmann::json::parse(Run("--json show --app CLI -n 100"));
  EXPECT_EQ(page["events"], 7);
  ASSERT_EQ(page["items"].size(), 7u);
  EXPECT_EQ(page["items"][1]["rawdata"], "first event");
  EXPECT_EQ(page["items"][1]["source"], "SRC");
  EXPECT_EQ(page["items"][1]["type"], 1);
  EXPECT_EQ(page["items"][1]["id"], 9);
  EXPECT_EQ(page["items"][4]["rawdata"], "line one");
  EXPECT_EQ(page["items"][4]["user"], "");
  EXPECT_EQ(page["items"][5]["rawdata"], "line two");

  // Filters and backwards pages go through the library's reads.
  page = nlohmann::json::parse(Run("--json show --app CLI --raw LINE --back --start 99 -n 1"));
  ASSERT_EQ(page["items"].size(), 1u);
  EXPECT_EQ(page["items"][0]["ordinal"], 6);
  page = nlohmann::json::parse(Run("--json tail --app CLI -n 2"));
  ASSERT_EQ(page["items"].size(), 2u);
  EXPECT_EQ(page["items"][1]["rawdata"], "Closed");

  auto list = nlohmann::json::parse(Run("--json list"));
  ASSERT_EQ(list["logs"].size(), 1u);
  EXPECT_EQ(list["logs"][0]["app"], "CLI");
  EXPECT_EQ(list["logs"][0]["events"], 7);
  EXPECT_EQ(list["logs"][0]["index_bytes"], 32);

  // A day before today stays with --before today; the one day goes with purge --app.
  Run("--json purge --before 2000-01-01", "", &rc);
  EXPECT_EQ(rc, 0);
  EXPECT_EQ(nlohmann::json::parse(Run("--json list"))["logs"].size(), 1u);
  Run("purge --app CLI", "", &rc);
  EXPECT_EQ(rc, 0);
  EXPECT_EQ(nlohmann::json::parse(Run("--json list"))["logs"].size(), 0u);

  // Failures carry the library's error.
  auto err = nlohmann::json::parse(Run("--json show --app CLI", "", &rc));
  EXPECT_EQ(rc, 1);
  EXPECT_EQ(err["error"]["number"], 53);
  EXPECT_EQ(err["error"]["source"], "KivLog.ReadEventLog");
}

}  // namespace
}  // namespace kiv::testing
