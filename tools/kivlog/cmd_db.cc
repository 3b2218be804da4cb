// kivlog db: the database event log from the shell.
#include <strings.h>

#include <chrono>
#include <cstdio>
#include <iostream>
#include <thread>
#include <vector>

#include "commands.h"
#include "kivdbxt/dao.h"
#include "kivdbxt/error.h"
#include "kivdbxt/kiv_log_file.h"
#include "kivdbxt/raised_error.h"
#include "output.h"
#include "pager.h"
#include "platform/date.h"
#include "when.h"

namespace kivlog {
namespace {

struct DbArgs {
  std::string file;
  std::string shown;  // the log's name as output shows it: a URI without its password
  // create / settings
  int max_records = 1000, wrapping = kiv::KLFWM_OVERWRITEOLDER, days = 7;
  std::string backup, sync;
  bool set_max = false, set_wrapping = false, set_backup = false;
  // report
  std::string source = "KIVLOG", raw, category, user, computer, server;
  int type = kiv::EVENTLOG_WARNING_TYPE, id = 0;
  bool binary = false;
  // show
  std::string mode = "page", where, order, since, until;
  int pos = 0, count = 20;
  bool reverse = false;
  // purge
  int records = 0, purge_days = 0;
  // watch
  int interval_ms = 500, changes = 0;
  bool keep_alive = false;
};

DbArgs& Args() {
  static DbArgs a;
  return a;
}

// Records print in the output format in force, in the one event shape of every subcommand.
void PrintRecord(const kiv::LOGRECORDTYPE& r) {
  static EventPrinter printer;
  printer.Print(FromRecord(r, Args().shown));
}

int Opened(kiv::KivLogFile& log, bool failed) {
  if (failed) return ReportError("open");
  Args().shown = U8(log.FileName());
  return 0;
}

int Open(kiv::KivLogFile& log) {
  return Opened(log, log.OpenEventLog(U16(Args().file), Args().keep_alive));
}

// For looking only: nothing is written to the log, and a file the user may only read will do.
int OpenToRead(kiv::KivLogFile& log) {
  return Opened(log, log.OpenEventLogReadOnly(U16(Args().file), Args().keep_alive));
}

int Create() {
  DbArgs& a = Args();
  kiv::KivLogFile log;
  if (log.CreateEventLog(U16(a.file), a.max_records, a.wrapping, a.days, U16(a.backup))) {
    return ReportError("create");
  }
  std::printf("created %s\n", U8(log.FileName()).c_str());
  return 0;
}

int Report() {
  DbArgs& a = Args();
  kiv::KivLogFile log;
  if (int rc = Open(log)) return rc;
  if (log.ReportEventEx(U16(a.source), U16(a.raw), a.binary ? kiv::RWDT_BINARY : kiv::RWDT_ASCII,
                        a.type, U16(a.category), a.id, U16(a.user), U16(a.computer),
                        U16(a.server))) {
    return ReportError("report");
  }
  return 0;
}

std::string DateLiteral(double date) {
  char text[40];
  std::snprintf(text, sizeof text, "%.17g", date);
  return text;
}

// The condition of --where, given with or without its leading "where".
std::string Condition(const std::string& where) {
  std::string text = where;
  const size_t start = text.find_first_not_of(" \t");
  if (start == std::string::npos) return std::string();
  const char after = start + 5 < text.size() ? text[start + 5] : ' ';
  if (strncasecmp(text.c_str() + start, "where", 5) == 0 &&
      (after == ' ' || after == '\t' || after == '(')) {
    text.erase(0, start + 5);
  }
  return text.find_first_not_of(" \t") == std::string::npos ? std::string() : text;
}

// --where as the where-clause the library takes.
std::string WhereClause(const std::string& where) {
  const std::string condition = Condition(where);
  return condition.empty() ? std::string() : "where " + condition;
}

// The where-clause of --where narrowed to the records between --since and --until.
std::string ShowWhere(const DbArgs& a) {
  if (a.since.empty() && a.until.empty()) return WhereClause(a.where);
  const std::string user = Condition(a.where);
  std::string clause = "where ";
  if (!user.empty()) clause += "(" + user + ") and ";
  clause +=
      "DATE >= " + DateLiteral(a.since.empty() ? kiv::kMinDate : ParseWhen(a.since, "--since"));
  clause += " and DATE <= " +
            DateLiteral(a.until.empty() ? kiv::kMaxDate : ParseWhen(a.until, "--until"));
  return clause;
}

int Show() {
  DbArgs& a = Args();
  kiv::KivLogFile log;
  if (int rc = OpenToRead(log)) return rc;
  const kiv::String where = U16(ShowWhere(a)), order = U16(a.order);
  int32_t pos = a.pos;
  if (a.mode == "page") {
    int32_t max = a.count;
    int32_t rc = log.ReadEventLogEx(pos == 0 ? kiv::ELREF_FIRST : kiv::ELREF_ABSOLUTE, pos, where,
                                    order, max);
    if (rc < 0) return ReportError("show");
    StartPager();
    if (rc == 0) {
      for (int32_t k = 1; k <= max; ++k) PrintRecord(log.LogRecordEx(a.reverse ? max + 1 - k : k));
    }
    if (OutputFormat() == "short") std::printf("-- next page: --pos %d\n", pos);
    return 0;
  }
  const int32_t flags = a.mode == "first"  ? kiv::ELREF_FIRST
                        : a.mode == "next" ? kiv::ELREF_NEXT
                        : a.mode == "last" ? kiv::ELREF_LAST
                                           : kiv::ELREF_COUNT;
  int32_t rc = log.ReadEventLog(flags, pos, where, order);
  if (rc < 0) return ReportError("show");
  if (flags == kiv::ELREF_COUNT) {
    if (JsonOutput()) {
      std::cout << nlohmann::json{{"count", rc == 0 ? pos : 0}}.dump() << "\n";
    } else {
      std::printf("%d\n", rc == 0 ? pos : 0);
    }
  } else if (rc == 0) {
    PrintRecord(log.LogRecord());
  } else if (!JsonOutput()) {
    std::printf("no record\n");
  }
  return 0;
}

int Purge() {
  DbArgs& a = Args();
  kiv::KivLogFile log;
  if (int rc = Open(log)) return rc;
  if (log.PurgeEventLog(a.records, a.purge_days, U16(WhereClause(a.where)))) {
    return ReportError("purge");
  }
  return 0;
}

int Compact() {
  kiv::KivLogFile log;
  if (int rc = Open(log)) return rc;
  if (log.CompactEventLog()) return ReportError("compact");
  return 0;
}

int Settings() {
  DbArgs& a = Args();
  kiv::KivLogFile log;
  const bool changing = a.set_wrapping || a.set_max || a.set_backup || !a.sync.empty();
  if (int rc = changing ? Open(log) : OpenToRead(log)) return rc;
  if (a.set_wrapping && log.WrappingSet(a.wrapping, a.days)) return ReportError("wrapping");
  if (a.set_max && log.MaxRecordsSet(a.max_records)) return ReportError("max-records");
  if (a.set_backup && log.BackupFileSet(U16(a.backup))) return ReportError("backup");
  if (!a.sync.empty() && log.SyncModeSet(U16(a.sync))) return ReportError("sync");
  int32_t wrapping = 0, days = 0, max = 0;
  kiv::String backup, sync;
  if (log.WrappingGet(wrapping, days) || log.MaxRecordsGet(max) || log.BackupFileGet(backup) ||
      log.SyncModeGet(sync)) {
    return ReportError("settings");
  }
  if (JsonOutput()) {
    std::cout << nlohmann::json{{"wrapping", wrapping},
                                {"days", days},
                                {"max_records", max},
                                {"backup", U8(backup)},
                                {"sync", U8(sync)}}
                     .dump()
              << "\n";
  } else {
    const char* policy = wrapping == kiv::KLFWM_DONTOVERWRITE       ? "never overwrite"
                         : wrapping == kiv::KLFWM_OVERWRITEASNEEDED ? "overwrite as needed"
                                                                    : "overwrite older";
    std::printf(
        "wrapping     %d (%s)\ndays         %d\nmax records  %d\nbackup file  %s\nsync         "
        "%s\n",
        wrapping, policy, days, max, U8(backup).c_str(), U8(sync).c_str());
  }
  return 0;
}

void PrintChange(const kiv::LOGRECORDTYPE& r) {
  if (JsonOutput()) {
    std::cout << nlohmann::json{{"event", "EventLogChanged"},
                                {"EvUnk", r.EvUnk},
                                {"EvType", r.EvType},
                                {"EvId", r.EvId},
                                {"record", EventJson(FromRecord(r, Args().shown))}}
                     .dump()
              << "\n";
    return;
  }
  std::printf("EventLogChanged(EvUnk=%d, EvType=%d, EvId=%d) ", r.EvUnk, r.EvType, r.EvId);
  PrintRecord(r);
}

// Prints the records committed after id `last` and moves it on; false on a read error.
bool PrintAfter(kiv::KivLogFile& log, int64_t& last, int& printed) {
  for (;;) {
    int32_t got = 500;
    const int32_t rc = log.ReadEventLogAfter(last, got);
    if (rc < 0) return false;
    if (rc == 1) break;
    for (int32_t i = 1; i <= got; ++i) {
      PrintChange(log.LogRecordEx(i));
      ++printed;
    }
  }
  std::fflush(stdout);
  return true;
}

int Watch() {
  DbArgs& a = Args();
  kiv::KivLogFile log;
  if (int rc = OpenToRead(log)) return rc;
  int32_t unk = 0;
  if (log.CheckEventLogChanges(unk) < 0) return ReportError("watch");
  int64_t last = -1;  // what is there already is not printed
  int32_t none = 0;
  if (log.ReadEventLogAfter(last, none) < 0) return ReportError("watch");
  int printed = 0;
  while (a.changes == 0 || printed < a.changes) {
    // A wait that ends without a change reads on as well: a safety check that costs one query.
    if (log.WaitEventLogChanges(a.interval_ms, unk) < 0) return ReportError("watch");
    if (!PrintAfter(log, last, printed)) return ReportError("watch");
  }
  return 0;
}

CLI::App* Sub(CLI::App& db, const char* name, const char* help, int (*run)()) {
  auto* cmd = db.add_subcommand(name, help);
  cmd->add_option("file", Args().file, "Event log database: a file, or a postgresql:// URI")
      ->required();
  cmd->callback([run] { std::exit(run()); });
  return cmd;
}

}  // namespace

void AddDbCommands(CLI::App& app) {
  DbArgs& a = Args();
  auto* db = app.add_subcommand("db", "The database event log");
  db->require_subcommand(1);

  auto* create = Sub(*db, "create", "Create an event log file", Create);
  create->add_option("--max-records", a.max_records, "Record limit (at least 100)");
  create->add_option("--wrapping", a.wrapping, "-2 never overwrite, 0 as needed, -1 older");
  create->add_option("--days", a.days, "Age in days for --wrapping -1");
  create->add_option("--backup", a.backup, "Log that purged records are copied into");

  auto* report = Sub(*db, "report", "Report one event", Report);
  report->add_option("--source", a.source, "Source");
  report->add_option("--raw", a.raw, "Raw data");
  report->add_flag("--binary", a.binary, "Raw data is binary (stored with the letter B)");
  report->add_option("--type", a.type, "Event type (0, 1, 2, 4, 8, 16)");
  report->add_option("--category", a.category, "Category");
  report->add_option("--id", a.id, "Event id");
  report->add_option("--user", a.user, "User (default: the current user)");
  report->add_option("--computer", a.computer, "Computer (default: this computer)");
  report->add_option("--server", a.server, "Server");

  auto* show = Sub(*db, "show", "Show records: a page, or first, next, last, count", Show);
  show->add_option("--mode", a.mode, "page, first, next, last or count")
      ->check(CLI::IsMember({"page", "first", "next", "last", "count"}));
  show->add_option("--pos", a.pos, "Position to page from (0 = first)");
  show->add_option("-n,--count", a.count, "Records per page");
  show->add_option("--where", a.where, "A condition, e.g. \"TYPE = 1\" (or \"where TYPE = 1\")");
  show->add_option("--order", a.order, "An order-by clause");
  show->add_option("-S,--since", a.since, "Only records at or after this time");
  show->add_option("-U,--until", a.until, "Only records at or before this time");
  show->add_flag("-r,--reverse", a.reverse, "The page's records newest first");

  auto* purge = Sub(*db, "purge", "Purge records (0 0: apply the wrapping policy)", Purge);
  purge->add_option("--records", a.records, "Oldest records to delete (-1 all)");
  purge->add_option("--days", a.purge_days, "Delete records at least this many days old");
  purge->add_option("--where", a.where, "Delete the records of this condition");

  Sub(*db, "compact", "Compact the file in place", Compact);

  auto* settings = Sub(*db, "settings", "Show, and optionally change, the settings", Settings);
  settings->add_option("--wrapping", a.wrapping, "-2 never overwrite, 0 as needed, -1 older")
      ->each([&a](const std::string&) { a.set_wrapping = true; });
  settings->add_option("--days", a.days, "Age in days for --wrapping -1");
  settings->add_option("--max-records", a.max_records, "Record limit")
      ->each([&a](const std::string&) { a.set_max = true; });
  settings->add_option("--backup", a.backup, "Backup log file (empty: none)")
      ->each([&a](const std::string&) { a.set_backup = true; });
  settings
      ->add_option("--sync", a.sync,
                   "normal (WAL, default), full (WAL, a sync per report) or rollback "
                   "(rollback journal, for network shares)")
      ->check(CLI::IsMember({"normal", "full", "rollback"}, CLI::ignore_case));

  auto* watch = Sub(*db, "watch", "Print every record reported from now on, in order", Watch);
  watch->add_option("--interval", a.interval_ms,
                    "Milliseconds between reads when no change is seen");
  watch->add_option("--changes", a.changes, "Stop after this many records (0: never)");
  watch->add_flag("--keep-alive", a.keep_alive, "Keep the database open between checks");
}

}  // namespace kivlog
