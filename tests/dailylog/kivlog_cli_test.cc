// The kivlog subcommands for daily logs, run as a user runs them.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "kivlog_cli_support.h"
#include "platform/vb_convert.h"
#include "support/env_var.h"
#include "support/kivlog_tool.h"

namespace kiv::testing {
namespace {

using kivtest::JsonLines;

TEST_F(KivlogCliTest, WriteShowTailListPurge) {
  EXPECT_EQ(Status("write --app CLI --source SRC --type 1 --id 9 first event"), 0);
  EXPECT_EQ(Status("write --app CLI --anonymous", "line one\\nline two\\n"), 0);
  // An AppId holding "_" would make a log that cannot be written: refused before any file.
  EXPECT_NE(Status("write --app CLI_2 x"), 0);

  // Two writes: two Open and two Closed markers around three events; one JSON object per line.
  auto page = JsonLines(Run("--json show --app CLI -n 100"));
  ASSERT_EQ(page.size(), 7u);
  EXPECT_EQ(page[1]["rawdata"], "first event");
  EXPECT_EQ(page[1]["source"], "SRC");
  EXPECT_EQ(page[1]["type"], 1);
  EXPECT_EQ(page[1]["id"], 9);
  EXPECT_EQ(page[4]["rawdata"], "line one");
  EXPECT_EQ(page[4]["user"], "");
  EXPECT_EQ(page[5]["rawdata"], "line two");

  // Filters and backwards pages go through the library's reads.
  page = JsonLines(Run("--json show --app CLI --raw LINE --back --start 99 -n 1"));
  ASSERT_EQ(page.size(), 1u);
  EXPECT_EQ(page[0]["ordinal"], 6);
  page = JsonLines(Run("--json tail --app CLI -n 2"));
  ASSERT_EQ(page.size(), 2u);
  EXPECT_EQ(page[1]["rawdata"], "Closed");
  // tail filters too.
  page = JsonLines(Run("tail --app CLI -n 5 --source SRC --json"));
  ASSERT_EQ(page.size(), 1u);
  EXPECT_EQ(page[0]["rawdata"], "first event");

  auto list = nlohmann::json::parse(Run("--json list"));
  ASSERT_EQ(list["logs"].size(), 1u);
  EXPECT_EQ(list["logs"][0]["app"], "CLI");
  EXPECT_EQ(list["logs"][0]["events"], 7);
  EXPECT_EQ(list["logs"][0]["index_bytes"], 32);
  EXPECT_EQ(list["total_bytes"], list["logs"][0]["data_bytes"].get<int64_t>() + 32);
  EXPECT_NE(Run("list").find("1 log, " + std::to_string(list["total_bytes"].get<int64_t>()) +
                             " bytes in all"),
            std::string::npos);

  // A day before today stays with --before today; the one day goes with purge --app.
  EXPECT_EQ(Status("--json purge --before 2000-01-01"), 0);
  EXPECT_EQ(nlohmann::json::parse(Run("--json list"))["logs"].size(), 1u);
  EXPECT_EQ(Status("purge --app CLI"), 0);
  EXPECT_EQ(nlohmann::json::parse(Run("--json list"))["logs"].size(), 0u);

  // Failures carry the library's error.
  auto err = Json("--json show --app CLI", 1);
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
  std::vector<int32_t> index = IndexValues(base);
  ASSERT_EQ(index[0], 6);
  const std::string file = " --file '" + U8(base) + "'";
  int rc = -1;

  auto report = Json("--json verify" + file, 0);
  EXPECT_EQ(report["whole"], 6);
  EXPECT_EQ(report["sound"], true);

  // Damage event 3's record and point event 5's entry past the data file: both are reported,
  // and every other event is still exported.
  std::string data = ReadAll(base + u".ZLG");
  data[static_cast<size_t>(index[3] - 1)] = 'X';
  WriteAll(base + u".ZLG", data);
  index[5] = static_cast<int32_t>(data.size()) + 50;
  WriteAll(base + u".ZLI", IndexBytes(index));
  report = Json("--json verify" + file, 2);
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
  report = Json("--json verify" + file, 2);
  ASSERT_EQ(report["damaged"].size(), 3u);
  EXPECT_EQ(report["damaged"][1]["ordinal"], 4);
  EXPECT_EQ(report["damaged"][1]["number"], 0);
  EXPECT_EQ(report["damaged"][1]["description"], "record at " + std::to_string(index[2]) +
                                                     " does not follow the previous one at " +
                                                     std::to_string(index[2]));
  index[4] = static_cast<int32_t>(data.find("UNK=", static_cast<size_t>(index[3]))) + 1;
  WriteAll(base + u".ZLI", IndexBytes(index));

  // --output-file holds what standard output would: every event but the damaged ones.
  const std::string out = U8(folder) + "/out.txt";
  EXPECT_EQ(Status("export --output-file '" + out + "'" + file), 2);
  const std::string text = ReadAll(FromUtf8(out));
  EXPECT_EQ(text, Run("export" + file));
  EXPECT_NE(text.find("    a, \"b\"\n    \xc3\xa8\n#4 "), std::string::npos) << text;
  EXPECT_EQ(text.find("#3 "), std::string::npos);

  // A log that is not there is an error, not a damaged log; so is a folder that is not there.
  auto err = Json("--json verify --app NOPE --path '" + U8(folder) + "'", 1);
  EXPECT_EQ(err["error"]["number"], 53);
  err = Json("--json verify --app NOPE", 1);
  EXPECT_EQ(err["error"]["number"], 76);

  // --all goes through every log of the folder; one whose data file is missing is damaged too.
  WriteAll(Base(u"LONE") + u".ZLI", IndexBytes({0}));
  auto all = Json("--json verify --all --path '" + U8(folder) + "'", 2);
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
  ASSERT_EQ(Status("write --app PUR today"), 0);
  const std::string today = U8(folder) + "/Q&V/Log/PUR_" + U8(FormatYYYYMMDD(Now()));

  auto out = Json("--json purge --app PUR --day 2024-03-05", 0);
  EXPECT_EQ(out["removed"][0], U8(old_day));
  EXPECT_FALSE(FileExists(old_day + u".ZLG"));
  EXPECT_FALSE(FileExists(old_day + u".ZLI"));
  EXPECT_TRUE(FileExists(FromUtf8(today) + u".ZLG"));
  EXPECT_EQ(IndexValues(FromUtf8(today))[0], 3);  // the purge wrote nothing into today's log
  EXPECT_EQ(Status("purge --app PUR --day 2024-03-05"), 1);

  const std::string missing = U8(folder) + "/nope/deeper";
  for (const char* cmd : {"show", "tail", "export", "verify"}) {
    EXPECT_EQ(Status(std::string(cmd) + " --app PUR --path '" + missing + "'"), 1) << cmd;
  }
  EXPECT_EQ(Status("verify --all --path '" + missing + "'"), 1);
  EXPECT_EQ(Status("purge --app PUR --path '" + missing + "'"), 1);
  EXPECT_FALSE(std::filesystem::exists(U8(folder) + "/nope"));
}

// verify names each state the two files can be left in, a write stopped part way in one line;
// --repair keeps both old files beside the new ones, rebuilds the index from every record that
// reads, says what it did, and the day is sound and reads whole.
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

  // Entry 3 left out, two entries dropped from the end, a phantom entry, a cut record at the end.
  const std::string cut = "UNK=9\r\nSRC=cut";
  WriteAll(base + u".ZLI", IndexBytes({4, index[1], index[2], index[4],
                                       static_cast<int32_t>(data.size() + cut.size()) + 1}));
  WriteAll(base + u".ZLG", data + cut);
  auto report = Json("--json verify" + file, 2);
  EXPECT_EQ(report["sound"], false);
  EXPECT_EQ(states(report), (std::vector<std::string>{"interrupted append",
                                                      "records not reachable from the index"}));
  EXPECT_EQ(report["states"][0]["records"], 4);
  EXPECT_EQ(report["states"][1]["records"], 1);
  EXPECT_EQ(report["events"], 3);  // the phantom entry is not an event
  EXPECT_TRUE(report["damaged"].empty());
  int rc = -1;
  const std::string text = Run("verify" + file, "", &rc);
  EXPECT_EQ(rc, 2);
  EXPECT_EQ(
      text.substr(0, text.find('\n')),
      U8(base) +
          ": interrupted append: a write was stopped part way: entries of records never "
          "written: 1, whole records after the last entry's: 2, bytes of a record cut short "
          "at the end: 14; the next write takes the whole records in, --repair cuts the rest");
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 3);
  const std::string old_index = ReadAll(base + u".ZLI");

  report = Json("--json verify --repair" + file, 0);
  EXPECT_EQ(report["sound"], true);
  EXPECT_EQ(report["events"], 6);
  EXPECT_EQ(report["whole"], 6);
  EXPECT_EQ(report["repair"]["events_before"], 3);
  EXPECT_EQ(report["repair"]["events_after"], 6);
  EXPECT_EQ(report["repair"]["cut_bytes"], cut.size());
  EXPECT_EQ(report["repair"]["data_backup"], U8(base) + ".ZLG.bak");
  EXPECT_EQ(IndexValues(base), index);
  EXPECT_EQ(ReadAll(base + u".ZLG"), data);
  EXPECT_EQ(ReadAll(base + u".ZLG.bak"), data + cut);
  EXPECT_EQ(ReadAll(base + u".ZLI.bak"), old_index);

  // A lost index: named, and rebuilt.
  std::filesystem::remove(U8(base) + ".ZLI");
  report = Json("--json verify" + file, 2);
  EXPECT_EQ(states(report), std::vector<std::string>{"index behind the data file"});
  const std::string said = Run("verify --repair" + file, "", &rc);
  EXPECT_EQ(rc, 0);
  EXPECT_EQ(said.substr(0, said.find('\n')),
            U8(base) + ": repaired: old files kept as " + U8(base) + ".ZLG.bak2 and " + U8(base) +
                ".ZLI.bak2; index rebuilt from every record that reads: 6 events (0 before)");
  EXPECT_EQ(IndexValues(base), index);
  EXPECT_EQ(ReadAll(base + u".ZLG.bak2"), data);

  // A FIFO in place of the data file: named at once, and every reader gives an error.
  std::filesystem::rename(U8(base) + ".ZLG", U8(folder) + "/saved");
  ASSERT_EQ(::mkfifo((U8(base) + ".ZLG").c_str(), 0600), 0);
  report = Json("--json verify" + file, 2);
  EXPECT_EQ(states(report), std::vector<std::string>{"not a regular file"});
  EXPECT_EQ(Status("verify --repair" + file), 2);
  for (const char* cmd : {"show", "tail", "export"}) {
    auto err = Json(std::string("--json ") + cmd + file, 1);
    EXPECT_EQ(err["error"]["number"], 75) << cmd;
  }
}

// Writes one event of source "T" into app's log at a moment of the real calendar.
void WriteAt(const String& folder, const String& app, Date when, const String& raw) {
  SetClock([when] { return when; });
  KivLog log;
  int32_t id = log.EventLogOpen(app, folder, ELOF_OPENALWAYS, when, u"pc", u"ann");
  ASSERT_NE(id, 0);
  ASSERT_FALSE(log.EventLogWrite(id, u"T", raw));
  ASSERT_FALSE(log.EventLogClose(id));
}

// The raw data of each event printed.
std::vector<std::string> Raws(const std::string& json_lines) {
  std::vector<std::string> raws;
  for (const auto& j : JsonLines(json_lines)) raws.push_back(j["rawdata"]);
  return raws;
}

// --since and --until read every day of the range, with journalctl's words for dates; -r gives
// the newest first.
TEST_F(KivlogCliTest, RelativeDatesAcrossDaysAndReverseOrder) {
  const Date now = Now();
  const Date today = DateOnly(now);
  WriteAt(folder, u"D", today - 3 + 0.5, u"three days ago");
  WriteAt(folder, u"D", today - 1 + 0.5, u"yesterday noon");
  WriteAt(folder, u"D", now, u"now");
  SetClock({});
  using V = std::vector<std::string>;
  const V newest_first = {"now", "yesterday noon", "three days ago"};
  const std::string sel = " --app D --source T -o json --path '" + U8(folder) + "'";
  const std::string week_ago = U8(FormatIsoDateTime(today - 7)).substr(0, 10) + " 14:00";
  const std::string day = " --app D --path '" + U8(folder) + "' --back --start 99 -n 2 --json";
  const struct {
    std::string args;
    V raws;
  } cases[] = {
      {"show --since yesterday" + sel, {"yesterday noon", "now"}},
      {"show -S -1h" + sel, {"now"}},
      {"show --since -30min" + sel, {"now"}},
      {"show --since ' - 2 days ' --until ' -30 minutes'" + sel, {"yesterday noon"}},
      {"show --until yesterday" + sel, {"three days ago"}},
      // A time alone is today's: until today's midnight leaves out only today's event.
      {"show --until 00:00" + sel, {"three days ago", "yesterday noon"}},
      {"show -r --since '" + week_ago + "'" + sel, newest_first},
      {"show --since -1w --back -n 2" + sel, {"yesterday noon", "now"}},
      {"export --since -1w -r" + sel, newest_first},
      {"tail -n 2 --since -1w" + sel, {"yesterday noon", "now"}},
      // One day's page backwards still prints oldest first unless -r.
      {"show" + day, {"now", "Closed"}},
      {"show -r" + day, {"Closed", "now"}},
  };
  for (const auto& c : cases) EXPECT_EQ(Raws(Run(c.args)), c.raws) << c.args;
  // Units are small letters.
  for (const char* since : {"'not a date'", "-3parsecs", "-3Days"}) {
    EXPECT_EQ(Status(std::string("show --since ") + since + sel), 64) << since;
  }
  // purge --before takes relative dates too.
  EXPECT_EQ(Status("purge --before -2d --app D --path '" + U8(folder) + "'"), 0);
  EXPECT_EQ(Raws(Run("show --since -1w" + sel)), (V{"yesterday noon", "now"}));
}

// --json anywhere on the command line, and one JSON shape for every subcommand that prints
// events, the database log's included (the dates and every format: kivlog_output_test.cc).
TEST_F(KivlogCliTest, JsonAnywhereInOneShape) {
  int rc = -1;
  ASSERT_EQ(Status("write --app J --source S hello"), 0);
  const std::string db = U8(folder) + "/app.db";
  ASSERT_EQ(Status("db create '" + db + "'"), 0);
  ASSERT_EQ(Status("db report '" + db + "' --source S --raw hello --type 4 --id 42"), 0);
  // The README's own line, --json after the subcommand's arguments.
  auto last = JsonLines(Run("db show '" + db + "' --mode last --json", "", &rc));
  EXPECT_EQ(rc, 0);
  ASSERT_EQ(last.size(), 1u);
  // Each open of the database adds its own start record: find the reported one in the pages.
  auto find42 = [](const std::vector<nlohmann::json>& items) {
    for (const auto& j : items) {
      if (j["id"] == 42) return j;
    }
    return nlohmann::json();
  };
  auto records = JsonLines(Run("db show '" + db + "' --json -r", "", &rc));
  EXPECT_EQ(rc, 0);
  ASSERT_GE(records.size(), 2u);
  // Newest first. The report and the open's start record may share a millisecond, so their
  // UNKs (tick counts) can be equal: the order shows in what they hold.
  EXPECT_EQ(records.front()["rawdata"], "hello");
  EXPECT_EQ(records.back()["rawdata"], "Event Log Created");
  const auto reported = find42(records);
  EXPECT_EQ(reported["source"], "S");
  EXPECT_EQ(reported["type"], 4);
  EXPECT_EQ(find42(JsonLines(Run("--json db show '" + db + "'"))), reported);
  auto show = JsonLines(Run("show --app J --json --source S", "", &rc));
  ASSERT_EQ(show.size(), 1u);
  auto before = JsonLines(Run("--json show --app J --source S"));
  auto tail = JsonLines(Run("tail --app J --source S -o json"));
  auto exported = JsonLines(Run("export --app J --source S --format json"));
  ASSERT_EQ(tail.size(), 1u);
  ASSERT_EQ(exported.size(), 1u);
  EXPECT_EQ(before, show);
  EXPECT_EQ(tail, show);
  EXPECT_EQ(exported, show);
  std::vector<std::string> keys, db_keys;
  for (auto& [k, v] : show[0].items()) keys.push_back(k);
  for (auto& [k, v] : reported.items()) db_keys.push_back(k);
  EXPECT_EQ(keys, db_keys);
  EXPECT_EQ(keys.size(), 14u);
  EXPECT_EQ(last[0].size(), keys.size());
  EXPECT_TRUE(reported["ordinal"].is_null());
  // Exit codes of a wrong command line are one documented number.
  EXPECT_EQ(Status("show --app J --no-such-option"), 64);
  const std::string help = Run("--help", "", &rc);
  EXPECT_EQ(rc, 0);
  EXPECT_NE(help.find("64  the command line is wrong"), std::string::npos);
}

// Text outside Windows-1252 is written in UTF-8, Windows-1252 text stays Windows-1252, and both
// read back exactly from one day, written from the arguments or from standard input in batches,
// where the encoding may change inside a batch.
TEST_F(KivlogCliTest, EachEventKeepsItsEncodingFromArgumentsAndStandardInput) {
  const std::string uni =
      "caf\xc3\xa9 \xe2\x98\x83 \xe6\x97\xa5\xe6\x9c\xac\xe8\xaa\x9e \xf0\x9f\x98\x80";
  const std::string euro = "caf\xc3\xa9 \xe2\x82\xac 5";
  const std::string mojibake = "\xc3\x83\xc2\xa9";  // "Ã©": Windows-1252 bytes C3 A9 are UTF-8
  for (const std::string& text : {uni, euro, mojibake}) {
    ASSERT_EQ(Status("write --app U --anonymous '" + text + "'"), 0) << text;
  }
  auto items = JsonLines(Run("show --app U --source KIVLOG --json"));
  ASSERT_EQ(items.size(), 3u);
  EXPECT_EQ(items[0]["rawdata"], uni);
  EXPECT_EQ(items[1]["rawdata"], euro);
  EXPECT_EQ(items[2]["rawdata"], mojibake);
  const std::string data = ReadAll(folder + u"/Q&V/Log/U_" + FormatYYYYMMDD(Now()) + u".ZLG");
  EXPECT_NE(data.find("\r\nRWD=" + uni + "\r\n"), std::string::npos);
  EXPECT_NE(data.find("\r\nRWD=caf\xe9 \x80 5\r\n"), std::string::npos);    // Windows-1252
  EXPECT_NE(data.find("\r\nRWD=" + mojibake + "\r\n"), std::string::npos);  // UTF-8
  EXPECT_EQ(data.find('?'), std::string::npos);
  // Arguments that are not UTF-8 are refused, not stored as replacement characters.
  EXPECT_EQ(Status("write --app U 'caf\xe9'"), 64);
  EXPECT_EQ(Status("write --app U --binary '\xe2\x98\x83'"), 64);
  EXPECT_EQ(JsonLines(Run("show --app U --source KIVLOG --json")).size(), 3u);

  // Standard input, across batches of 1,000 lines; every line keeps its place.
  std::vector<std::string> lines;
  std::string input;
  for (int k = 0; k < 2300; ++k) {
    lines.push_back(k == 999 || k == 1500    ? uni
                    : k == 1000 || k == 1502 ? euro
                                             : "line " + std::to_string(k));
    input += lines.back() + "\\n";
  }
  int rc = -1;
  const std::string out = Run("write --app B --anonymous --json", input, &rc);
  ASSERT_EQ(rc, 0) << out;
  EXPECT_EQ(JsonLines(out).at(0)["written"], 2300);
  const String base = folder + u"/Q&V/Log/B_" + FormatYYYYMMDD(Now());
  const auto events = ReadDay(base);
  ASSERT_EQ(events.size(), 2302u);  // with the open and close markers
  for (size_t k = 0; k < lines.size(); ++k) {
    ASSERT_EQ(U8(events[k + 1]->EvRawData()), lines[k]) << k;
    ASSERT_EQ(events[k + 1]->Ordinal(), static_cast<int32_t>(k) + 2);
  }
  const std::string batched = ReadAll(base + u".ZLG");
  EXPECT_NE(batched.find("\r\nRWD=" + uni + "\r\n"), std::string::npos);     // UTF-8
  EXPECT_NE(batched.find("\r\nRWD=caf\xe9 \x80 5\r\n"), std::string::npos);  // Windows-1252
}

// AppIds that would leave the folder or hold control characters are refused; file name patterns
// keep their case.
TEST_F(KivlogCliTest, RefusedAppIdsAndCaseSensitivePurge) {
  for (const char* app : {"../x", "a/b", "a\\\\b", "a\tb"}) {
    EXPECT_EQ(Status("write --app '" + std::string(app) + "' y"), 64) << app;
    EXPECT_EQ(Status("show --app '" + std::string(app) + "'"), 64) << app;
  }
  EXPECT_FALSE(std::filesystem::exists(std::filesystem::path(ToUtf8(folder)) / "Q&V"))
      << "nothing written";
  const Date old = MakeDate({2000, 1, 1, 12, 0, 0});
  WriteAt(folder, u"billing", old, u"b");
  WriteAt(folder, u"Billing", old, u"B");
  SetClock({});
  const std::string path = " --path '" + U8(folder) + "'";
  EXPECT_EQ(Status("purge --before -30d --app billing" + path), 0);
  EXPECT_FALSE(FileExists(Base(u"billing", old) + u".ZLG"));
  EXPECT_TRUE(FileExists(Base(u"Billing", old) + u".ZLG"));
  EXPECT_TRUE(FileExists(Base(u"Billing", old) + u".ZLI"));
}

// An error is one line: the library's message as it stands, the system's reason, the number and
// the source.
TEST_F(KivlogCliTest, ErrorLineCarriesTheSystemReason) {
  const std::string not_a_folder = U8(folder) + "/plain";
  WriteAll(FromUtf8(not_a_folder), "x");
  int rc = -1;
  const std::string out =
      Run("show --app E --day 2024-03-05 --path '" + not_a_folder + "'", "", &rc, true);
  EXPECT_EQ(rc, 1);
  EXPECT_EQ(out, "kivlog: show: Impossibile aprire il file di log " + not_a_folder +
                     "/E_20240305: Path not found: Not a directory (error 76, "
                     "KivLog.ReadEventLog)\n");
  auto err = nlohmann::json::parse(
      Run("show --app E --day 2024-03-05 --json --path '" + not_a_folder + "'", "", &rc));
  EXPECT_EQ(rc, 1);
  EXPECT_EQ(err["error"]["reason"], "Not a directory");
  EXPECT_EQ(err["error"]["number"], 76);
}

// The pager is used on a terminal only: never when the output goes to a pipe or a file.
TEST_F(KivlogCliTest, PagerOnlyOnATerminal) {
  int rc = -1;
  ASSERT_EQ(Status("write --app P x"), 0);
  const std::string marker = U8(folder) + "/paged";
  const kivtest::EnvVar pager("PAGER", ("cat > '" + marker + "'").c_str());
  EXPECT_NE(Run("show --app P", "", &rc).find("    x\n"), std::string::npos);
  EXPECT_EQ(rc, 0);
  EXPECT_EQ(Status("show --app P > '" + U8(folder) + "/out.txt'"), 0);
  EXPECT_FALSE(std::filesystem::exists(marker));
  // Under a terminal the same command goes through the pager, and not with --no-pager.
  if (!HasTerminal()) GTEST_SKIP() << "no script(1)";
  const std::string run = "KIV_PROGRAMFILESDIR='" + U8(folder) + "' " + tool_ + " show --app P";
  UnderTerminal(run + " --no-pager", &rc);
  ASSERT_EQ(rc, 0);
  EXPECT_FALSE(std::filesystem::exists(marker));
  UnderTerminal(run, &rc);
  ASSERT_EQ(rc, 0);
  EXPECT_NE(ReadAll(FromUtf8(marker)).find("    x\n"), std::string::npos);
}

}  // namespace
}  // namespace kiv::testing
