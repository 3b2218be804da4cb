// journalctl's habits in kivlog: -r newest first, --grep, several applications merged, colours
// on a terminal, --output-fields, purge by size and with the backups of verify --repair.
#include <chrono>
#include <thread>

#include "kivlog_cli_support.h"

namespace kiv::testing {
namespace {

using kivtest::JsonLines;

class KivlogHabitsTest : public KivlogCliTest {
 protected:
  // Writes events of source "T" into app's log of the day of `first`, one a minute from it.
  void WriteDay(const String& app, Date first, const std::vector<std::string>& raws,
                int32_t type = EVENTLOG_INFORMATION_TYPE) {
    SetClockTo(first);
    KivLog log;
    const int32_t id = log.EventLogOpen(app, folder, ELOF_OPENALWAYS, first, u"pc", u"ann");
    ASSERT_NE(id, 0);
    for (size_t k = 0; k < raws.size(); ++k) {
      SetClockTo(first + static_cast<double>(k) / 1440);
      ASSERT_FALSE(log.EventLogWrite(id, u"T", FromUtf8(raws[k]), RWDT_ASCII, type));
    }
    ASSERT_FALSE(log.EventLogClose(id));
    SetClock({});
  }

  // The raw data of the events a run prints as JSON, in their order.
  std::vector<std::string> Raws(const std::string& args) {
    std::vector<std::string> out;
    for (const auto& j : JsonLines(Run(args + " -o json --path '" + ToUtf8(folder) + "'"))) {
      out.push_back(j["rawdata"]);
    }
    return out;
  }

  static std::vector<std::string> Numbered(int from, int to) {
    std::vector<std::string> out;
    for (int k = from; from <= to ? k <= to : k >= to; k += from <= to ? 1 : -1) {
      out.push_back("e" + std::to_string(k));
    }
    return out;
  }

  const std::string range = " --since 2024-03-01 --until '2024-03-08 23:00'";
};

// -r shows the newest events first, as journalctl -r: the newest --count of the day or of the
// range, through the filters.
TEST_F(KivlogHabitsTest, ReverseIsNewestFirstOnOneDayAndAcrossDays) {
  WriteDay(u"R", Day1At(), Numbered(1, 27));
  using V = std::vector<std::string>;
  const std::string day = " --app R --day 2024-03-05 --source T";
  EXPECT_EQ(Raws("show -r" + day), Numbered(27, 8));
  EXPECT_EQ(Raws("show -r -n 3" + day), Numbered(27, 25));
  EXPECT_EQ(Raws("show -r -n 2 --raw e1" + day), (V{"e19", "e18"}));
  EXPECT_EQ(Raws("show -r -n 2 --until '2024-03-05 10:04'" + day), (V{"e5", "e4"}));
  // --start still names where a backward read begins.
  EXPECT_EQ(Raws("show -r -n 2 --start 4 --app R --day 2024-03-05"),
            (V{"e3", "e2"}));  // ordinal 1 is the log's Open marker

  WriteDay(u"R", Day1At() + 1, Numbered(28, 30));
  WriteDay(u"R", Day1At() + 2, Numbered(31, 33));
  const std::string days = " --app R --source T" + range;
  EXPECT_EQ(Raws("show -r -n 4" + days), Numbered(33, 30));
  EXPECT_EQ(Raws("show -r -n 8 --raw 3" + days),
            (V{"e33", "e32", "e31", "e30", "e23", "e13", "e3"}));
  EXPECT_EQ(Raws("show -n 2" + days), Numbered(1, 2));
  EXPECT_EQ(Raws("show --back -n 2" + days), Numbered(32, 33));
  EXPECT_EQ(Raws("export -r --id 0 --raw e2" + days),
            (V{"e29", "e28", "e27", "e26", "e25", "e24", "e23", "e22", "e21", "e20", "e2"}));
}

// tail --follow over a range prints each event once: the last ones of the range, then those
// written to today's log afterwards.
TEST_F(KivlogHabitsTest, FollowAfterARangePrintsEachEventOnce) {
  const Date now = Now();
  WriteDay(u"F", DateOnly(now) - 1 + 0.5, {"y1"});
  WriteDay(u"F", now, {"t1", "t2"});
  const std::string cmd = "KIV_PROGRAMFILESDIR='" + ToUtf8(folder) + "' timeout 2 " +
                          kivtest::KivlogPath() + " tail -f --interval 50 -n 3 --since -3d " +
                          "--app F --source T -o json --path '" + ToUtf8(folder) + "'";
  std::FILE* p = ::popen(cmd.c_str(), "r");
  ASSERT_NE(p, nullptr);
  std::this_thread::sleep_for(std::chrono::milliseconds(700));
  WriteDay(u"F", Now(), {"t3"});
  std::string out;
  char buf[4096];
  for (size_t n; (n = std::fread(buf, 1, sizeof buf, p)) > 0;) out.append(buf, n);
  ::pclose(p);
  std::vector<std::string> raws;
  for (const auto& j : JsonLines(out)) raws.push_back(j["rawdata"]);
  EXPECT_EQ(raws, (std::vector<std::string>{"y1", "t1", "t2", "t3"}));
}

// --grep is a regular expression on the raw data, any case unless it holds a capital; several
// --app (or --all-apps) merge the logs in date order, each event naming its log.
TEST_F(KivlogHabitsTest, GrepAndSeveralApplications) {
  WriteDay(u"A", Day1At(10, 0), {"Alpha one", "beta two", "ALPHA three"});
  WriteDay(u"B", Day1At(10, 1) - 1.0 / 2880, {"b at 10:00:30", "b at 10:01:30"});
  const std::string a = " --app A --day 2024-03-05 --source T";
  using V = std::vector<std::string>;
  EXPECT_EQ(Raws("show --grep alpha" + a), (V{"Alpha one", "ALPHA three"}));
  EXPECT_EQ(Raws("export --grep Alpha" + a), (V{"Alpha one"}));
  EXPECT_EQ(Raws("show -r -g 't(wo|hree)$'" + a), (V{"ALPHA three", "beta two"}));
  EXPECT_EQ(Status("show --grep '(' --app A"), 64);

  const std::string both = " --app A --app B --day 2024-03-05 --source T";
  const V merged = {"Alpha one", "b at 10:00:30", "beta two", "b at 10:01:30", "ALPHA three"};
  EXPECT_EQ(Raws("show" + both), merged);
  EXPECT_EQ(Raws("export --all-apps --day 2024-03-05 --source T"), merged);
  EXPECT_EQ(Raws("show -r -n 2" + both), (V{"ALPHA three", "b at 10:01:30"}));
  const auto items = JsonLines(Run("export -o json" + both + " --path '" + ToUtf8(folder) + "'"));
  ASSERT_EQ(items.size(), 5u);
  EXPECT_EQ(items[1]["log"], ToUtf8(Base(u"B")));
  EXPECT_EQ(items[2]["log"], ToUtf8(Base(u"A")));
  // The short form labels each event with its application, also in a page read backwards.
  const std::string text = Run("show --locale iso" + both + " --path '" + ToUtf8(folder) + "'");
  EXPECT_EQ(Run("show --back -n 2 --locale iso" + both + " --path '" + ToUtf8(folder) + "'"),
            "B #3  2024-03-05 10:01:30  T  type 4  id 0  ann@pc\n    b at 10:01:30\n"
            "A #4  2024-03-05 10:02:00  T  type 4  id 0  ann@pc\n    ALPHA three\n");
  EXPECT_NE(text.find("\nB #2  2024-03-05 10:00:30  T  type 4  id 0  ann@pc\n    b at 10:00:30\n"
                      "A #3  2024-03-05 10:01:00  T"),
            std::string::npos)
      << text;
}

// --output-fields narrows JSON and CSV; colours by event type only on a terminal and without
// NO_COLOR.
TEST_F(KivlogHabitsTest, OutputFieldsAndColours) {
  WriteDay(u"C", Day1At(), {"bad"}, EVENTLOG_ERROR_TYPE);
  const std::string sel = " --app C --day 2024-03-05 --source T --path '" + ToUtf8(folder) + "'";
  EXPECT_EQ(Run("export -o json --output-fields rawdata,id" + sel),
            "{\"id\":0,\"rawdata\":\"bad\"}\n");
  EXPECT_EQ(Run("--output-fields type --output-fields rawdata show -o csv" + sel),
            "type,rawdata\r\n1,bad\r\n");
  EXPECT_EQ(Status("export -o json --output-fields rawdata,nope" + sel), 64);

  const std::string red = "\x1b[1;31m";
  EXPECT_EQ(Run("show" + sel).find(red), std::string::npos);  // a pipe: no colours
  if (!HasTerminal()) GTEST_SKIP() << "no script(1)";
  auto under_terminal = [&](const std::string& env_vars) {
    return UnderTerminal(env_vars + " KIV_PROGRAMFILESDIR='" + ToUtf8(folder) + "' " +
                         kivtest::KivlogPath() + " --no-pager show" + sel);
  };
  const std::string coloured = under_terminal("TERM=xterm");
  EXPECT_NE(coloured.find(red + "#2  "), std::string::npos) << coloured;
  EXPECT_NE(coloured.find("ann@pc\x1b[0m"), std::string::npos) << coloured;
  EXPECT_EQ(under_terminal("TERM=xterm NO_COLOR=1").find("\x1b["), std::string::npos);
}

// purge removes with a day the copies of both its files that verify --repair keeps; --max-size
// keeps the newest days that fit.
TEST_F(KivlogHabitsTest, PurgeTakesBackupsAndKeepsTheNewestWithinASize) {
  for (int d = 0; d < 4; ++d) WriteDay(u"P", Day1At() + d, {std::string(1000, 'x')});
  WriteDay(u"Q", Day1At(), {"q"});
  auto backups = [&](const String& base) {
    for (const char16_t* ext : {u".ZLG.bak", u".ZLI.bak", u".ZLG.bak2", u".ZLI.bak2"}) {
      WriteAll(base + ext, "b");
    }
  };
  for (int d = 0; d < 4; ++d) backups(Base(u"P", Day1At() + d));
  backups(Base(u"Q"));
  const std::string path = " --path '" + ToUtf8(folder) + "'";
  auto left = [&] {
    std::vector<std::string> names;
    for (const auto& e : std::filesystem::directory_iterator(ToUtf8(folder))) {
      names.push_back(e.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    std::string all;
    for (const auto& n : names) all += n + " ";
    return all;
  };
  EXPECT_EQ(Status("purge --app P --day 2024-03-06" + path), 0);
  EXPECT_EQ(Status("purge --app P --before 2024-03-06" + path), 0);
  auto day = [](const std::string& base) {
    std::string names;
    for (const char* ext : {".ZLG", ".ZLG.bak", ".ZLG.bak2", ".ZLI", ".ZLI.bak", ".ZLI.bak2"}) {
      names += base + ext + " ";
    }
    return names;
  };
  const std::string p7 = day("P_20240307"), p8 = day("P_20240308"), q = day("Q_20240305");
  EXPECT_EQ(left(), p7 + p8 + q);
  // Each P day holds a little over 1,000 bytes: 2K keeps only the newest, and leaves Q alone.
  const std::string newest = ToUtf8(Base(u"P", Day1At() + 3));
  const int64_t kept = static_cast<int64_t>(std::filesystem::file_size(newest + ".ZLG") +
                                            std::filesystem::file_size(newest + ".ZLI")) +
                       4;
  auto r = Json("--json purge --app P --max-size 2K" + path, 0);
  EXPECT_EQ(r["removed"], 1);
  EXPECT_EQ(r["kept_bytes"], kept);
  EXPECT_EQ(left(), p8 + q);
  EXPECT_EQ(Status("purge --max-size 2X" + path), 64);
  r = Json("--json purge --max-size 1" + path, 0);
  EXPECT_EQ(r["removed"], 2);
  EXPECT_EQ(left(), "");
}

}  // namespace
}  // namespace kiv::testing
