// The kivlog subcommands for daily logs, run as a user runs them.
#include <unistd.h>

#include <algorithm>
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
  // An AppId holding "_" would make a log that cannot be written: refused before any file.
  Run("write --app CLI_2 x", "", &rc);
  EXPECT_NE(rc, 0);

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

// export and verify read the whole day through the library, leave out or report only the damaged
// events, and say so in their exit code.
TEST_F(KivlogCliTest, ExportAndVerifyWalkTheWholeDay) {
  SetClockTo(Day1At());
  const String base = Base(u"EXP");
  {
    KivLog log;
    int32_t id = log.EventLogOpen(u"EXP", folder, ELOF_CREATE_ALWAYS, 0, u"pc", u"ann");
    ASSERT_NE(id, 0);
    ASSERT_FALSE(log.EventLogWrite(id, u"SRC", u"a, \"b\"\r\n\u00e8", RWDT_ASCII,
                                   EVENTLOG_ERROR_TYPE, u"cat", 9));
    for (int k = 3; k <= 5; ++k) ASSERT_FALSE(log.EventLogWrite(id, u"OTHER", u"plain"));
    ASSERT_FALSE(log.EventLogClose(id));
  }
  auto info = InfoFor(base);
  ASSERT_FALSE(KivLog().EventLogRead(info, 2, 1));
  const std::string unk = std::to_string(Events(*info)[0]->EvUnk());
  std::vector<int32_t> index = IndexValues(base);
  ASSERT_EQ(index[0], 6);
  const std::string file = " --file '" + U8(base) + "'";

  // CSV quotes the field holding a comma, quotes and a line end; text is UTF-8.
  int rc = -1;
  std::string csv = Run("export --format csv" + file, "", &rc);
  EXPECT_EQ(rc, 0);
  const std::string header =
      "ordinal,offset,unk,date,source,type,category,id,user,computer,server,datatype,rawdata\r\n";
  ASSERT_EQ(csv.compare(0, header.size(), header), 0);
  const std::string row2 =
      "2," + std::to_string(index[2]) + "," + unk +
      ",2024-03-05 10:00:00,SRC,1,cat,9,ann,pc,,0,\"a, \"\"b\"\"\r\n\xc3\xa8\"\r\n";
  EXPECT_NE(csv.find("\r\n" + row2 + "3,"), std::string::npos) << csv;
  EXPECT_EQ(std::count(csv.begin(), csv.end(), '\n'), 8);  // header, 6 rows, one raw line end

  // JSON through a filter: the document says how many events the log has and how many passed.
  auto doc = nlohmann::json::parse(Run("export --format json --source OTHER" + file, "", &rc));
  EXPECT_EQ(rc, 0);
  EXPECT_EQ(doc["events"], 6);
  EXPECT_EQ(doc["exported"], 3);
  ASSERT_EQ(doc["items"].size(), 3u);
  EXPECT_EQ(doc["items"][0]["ordinal"], 3);
  EXPECT_EQ(doc["items"][2]["ordinal"], 5);
  EXPECT_TRUE(doc["damaged"].empty());

  auto report = nlohmann::json::parse(Run("--json verify" + file, "", &rc));
  EXPECT_EQ(rc, 0);
  EXPECT_EQ(report["whole"], 6);
  EXPECT_EQ(report["sound"], true);

  // Damage event 3's record and point event 5's entry past the data file: both are reported,
  // and every other event is still exported.
  std::string data = ReadAll(base + u".ZLG");
  data[static_cast<size_t>(index[3] - 1)] = 'X';
  WriteAll(base + u".ZLG", data);
  index[5] = static_cast<int32_t>(data.size()) + 50;
  WriteAll(base + u".ZLI", IndexBytes(index));
  report = nlohmann::json::parse(Run("--json verify" + file, "", &rc));
  EXPECT_EQ(rc, 2);
  EXPECT_EQ(report["whole"], 4);
  EXPECT_EQ(report["sound"], false);
  ASSERT_EQ(report["damaged"].size(), 2u);
  EXPECT_EQ(report["damaged"][0]["ordinal"], 3);
  EXPECT_EQ(report["damaged"][0]["number"], 20000);
  EXPECT_EQ(report["damaged"][0]["description"], "Disallineamento dei dati nel file di log.");
  EXPECT_EQ(report["damaged"][1]["ordinal"], 5);
  EXPECT_EQ(report["damaged"][1]["number"], 62);

  // An entry pointing back at an earlier record reads whole but is out of step.
  index[4] = index[2];
  WriteAll(base + u".ZLI", IndexBytes(index));
  report = nlohmann::json::parse(Run("--json verify" + file, "", &rc));
  EXPECT_EQ(rc, 2);
  ASSERT_EQ(report["damaged"].size(), 3u);
  EXPECT_EQ(report["damaged"][1]["ordinal"], 4);
  EXPECT_EQ(report["damaged"][1]["number"], 0);
  EXPECT_EQ(report["damaged"][1]["description"], "record at " + std::to_string(index[2]) +
                                                     " does not follow the previous one at " +
                                                     std::to_string(index[2]));
  index[4] = static_cast<int32_t>(data.find("UNK=", static_cast<size_t>(index[3]))) + 1;
  WriteAll(base + u".ZLI", IndexBytes(index));

  const std::string out = U8(folder) + "/out.txt";
  Run("export -o '" + out + "'" + file, "", &rc);
  EXPECT_EQ(rc, 2);
  const std::string text = ReadAll(FromUtf8(out));
  for (const char* present : {"#1 ", "#2 ", "#4 ", "#6 ", "    a, \"b\"\n    \xc3\xa8\n"}) {
    EXPECT_NE(text.find(present), std::string::npos) << present;
  }
  EXPECT_EQ(text.find("#3 "), std::string::npos);
  EXPECT_EQ(text.find("#5 "), std::string::npos);

  // A log that is not there is an error, not a damaged log.
  auto err = nlohmann::json::parse(Run("--json verify --app NOPE", "", &rc));
  EXPECT_EQ(rc, 1);
  EXPECT_EQ(err["error"]["number"], 53);

  // --all goes through every log of the folder; one whose data file is missing is damaged too.
  WriteAll(Base(u"LONE") + u".ZLI", IndexBytes({0}));
  auto all = nlohmann::json::parse(Run("--json verify --all --path '" + U8(folder) + "'", "", &rc));
  EXPECT_EQ(rc, 2);
  ASSERT_EQ(all["logs"].size(), 2u);
  EXPECT_EQ(all["logs"][0]["log"], U8(base));
  EXPECT_EQ(all["logs"][0]["damaged"].size(), 2u);  // events 3 and 5
  EXPECT_EQ(all["logs"][1]["log"], U8(Base(u"LONE")));
  ASSERT_EQ(all["logs"][1]["damaged"].size(), 1u);
  EXPECT_EQ(all["logs"][1]["damaged"][0]["ordinal"], 0);
  EXPECT_EQ(all["logs"][1]["damaged"][0]["number"], 53);
  all = nlohmann::json::parse(
      Run("--json verify --all --app LONE --path '" + U8(folder) + "'", "", &rc));
  EXPECT_EQ(all["logs"].size(), 1u);
}

}  // namespace
}  // namespace kiv::testing
