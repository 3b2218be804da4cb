// The kivlog subcommands for daily logs, run as a user runs them.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "dailylog_support.h"
#include "platform/vb_convert.h"

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

  // A log that is not there is an error, not a damaged log; so is a folder that is not there.
  auto err = nlohmann::json::parse(Run("--json verify --app NOPE --path '" + U8(folder) + "'", "",
                                       &rc));
  EXPECT_EQ(rc, 1);
  EXPECT_EQ(err["error"]["number"], 53);
  err = nlohmann::json::parse(Run("--json verify --app NOPE", "", &rc));
  EXPECT_EQ(rc, 1);
  EXPECT_EQ(err["error"]["number"], 76);

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

// purge --day removes that day's pair only, whatever today is, and says when nothing was there;
// the reading subcommands never create the folder they are given.
TEST_F(KivlogCliTest, PurgeOneDayAndReadersNeverCreateFolders) {
  SetClockTo(Day1At());
  {
    KivLog log;
    ASSERT_FALSE(log.EventLogClose(log.EventLogOpen(u"PUR", folder + u"/Q&V/Log")));
  }
  SetClock({});
  const String old_day = folder + u"/Q&V/Log/PUR_20240305";
  ASSERT_TRUE(FileExists(old_day + u".ZLG"));
  int rc = -1;
  Run("write --app PUR today", "", &rc);
  ASSERT_EQ(rc, 0);
  auto page = nlohmann::json::parse(Run("--json show --app PUR"));
  const std::string today = page["log"];

  auto out = nlohmann::json::parse(Run("--json purge --app PUR --day 2024-03-05", "", &rc));
  EXPECT_EQ(rc, 0);
  EXPECT_EQ(out["removed"][0], U8(old_day));
  EXPECT_FALSE(FileExists(old_day + u".ZLG"));
  EXPECT_FALSE(FileExists(old_day + u".ZLI"));
  EXPECT_TRUE(FileExists(FromUtf8(today) + u".ZLG"));
  EXPECT_EQ(IndexValues(FromUtf8(today))[0], 3);  // the purge wrote nothing into today's log
  Run("purge --app PUR --day 2024-03-05", "", &rc);
  EXPECT_EQ(rc, 1);

  const std::string missing = U8(folder) + "/nope/deeper";
  for (const char* cmd : {"show", "tail", "export", "verify"}) {
    Run(std::string(cmd) + " --app PUR --path '" + missing + "'", "", &rc);
    EXPECT_EQ(rc, 1) << cmd;
  }
  Run("verify --all --path '" + missing + "'", "", &rc);
  EXPECT_EQ(rc, 1);
  Run("purge --app PUR --path '" + missing + "'", "", &rc);
  EXPECT_EQ(rc, 1);
  EXPECT_FALSE(std::filesystem::exists(U8(folder) + "/nope"));
}

// verify names each state the two files can be left in, and --repair rebuilds the index from
// the data file, keeping the old one beside it, after which the day is sound and reads whole.
TEST_F(KivlogCliTest, VerifyNamesEachStateAndRepairRebuildsTheIndex) {
  SetClockTo(Day1At());
  const String base = Base(u"REP");
  {
    KivLog log;
    int32_t id = log.EventLogOpen(u"REP", folder);
    for (int k = 1; k <= 4; ++k) ASSERT_FALSE(log.EventLogWrite(id, u"S", u"e" + IntText(k)));
  }
  SetClock({});
  const std::vector<int32_t> index = IndexValues(base);
  ASSERT_EQ(index[0], 6);
  const std::string data = ReadAll(base + u".ZLG");
  const std::string file = " --file '" + U8(base) + "'";
  auto states = [&](const nlohmann::json& report) {
    std::vector<std::string> names;
    for (const auto& s : report["states"]) names.push_back(s["state"]);
    return names;
  };
  int rc = -1;

  // Entry 3 left out, two entries dropped from the end, a phantom entry, a cut record at the end.
  const std::string cut = "UNK=9\r\nSRC=cut";
  WriteAll(base + u".ZLI", IndexBytes({4, index[1], index[2], index[4],
                                       static_cast<int32_t>(data.size() + cut.size()) + 1}));
  WriteAll(base + u".ZLG", data + cut);
  auto report = nlohmann::json::parse(Run("--json verify" + file, "", &rc));
  EXPECT_EQ(rc, 2);
  EXPECT_EQ(report["sound"], false);
  EXPECT_EQ(states(report),
            (std::vector<std::string>{"index behind the data file", "phantom entry", "cut tail",
                                      "records not reachable from the index"}));
  EXPECT_EQ(report["states"][0]["records"], 2);
  EXPECT_EQ(report["states"][3]["records"], 1);
  const std::string old_index = ReadAll(base + u".ZLI");

  report = nlohmann::json::parse(Run("--json verify --repair" + file, "", &rc));
  EXPECT_EQ(rc, 0);
  EXPECT_EQ(report["sound"], true);
  EXPECT_EQ(report["events"], 6);
  EXPECT_EQ(report["whole"], 6);
  EXPECT_EQ(IndexValues(base), index);
  EXPECT_EQ(ReadAll(base + u".ZLG"), data);
  EXPECT_EQ(ReadAll(base + u".ZLI.bak"), old_index);

  // A lost index: named, and rebuilt.
  std::filesystem::remove(U8(base) + ".ZLI");
  report = nlohmann::json::parse(Run("--json verify" + file, "", &rc));
  EXPECT_EQ(rc, 2);
  EXPECT_EQ(states(report), std::vector<std::string>{"index behind the data file"});
  Run("verify --repair" + file, "", &rc);
  EXPECT_EQ(rc, 0);
  EXPECT_EQ(IndexValues(base), index);
  EXPECT_TRUE(FileExists(base + u".ZLI.bak2"));

  // A FIFO in place of the data file: named at once, and every reader gives an error.
  std::filesystem::rename(U8(base) + ".ZLG", U8(folder) + "/saved");
  ASSERT_EQ(::mkfifo((U8(base) + ".ZLG").c_str(), 0600), 0);
  report = nlohmann::json::parse(Run("--json verify" + file, "", &rc));
  EXPECT_EQ(rc, 2);
  EXPECT_EQ(states(report), std::vector<std::string>{"not a regular file"});
  Run("verify --repair" + file, "", &rc);
  EXPECT_EQ(rc, 2);
  for (const char* cmd : {"show", "tail", "export"}) {
    auto err = nlohmann::json::parse(Run(std::string("--json ") + cmd + file, "", &rc));
    EXPECT_EQ(rc, 1) << cmd;
    EXPECT_EQ(err["error"]["number"], 75) << cmd;
  }
}

}  // namespace
}  // namespace kiv::testing
