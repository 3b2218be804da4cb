// kivlog db: the database event log from the shell.
#include <chrono>
#include <cstdio>
#include <iostream>
#include <thread>

#include "commands.h"
#include "kivdbxt/error.h"
#include "kivdbxt/kiv_log_file.h"
#include "output.h"
#include "pager.h"
#include "platform/date.h"

namespace kivlog {
namespace {

struct DbArgs {
  std::string file;
  // create / settings
  int max_records = 1000, wrapping = kiv::KLFWM_OVERWRITEOLDER, days = 7;
  std::string backup;
  bool set_max = false, set_wrapping = false, set_backup = false;
  // report
  std::string source = "KIVLOG", raw, category, user, computer, server;
  int type = kiv::EVENTLOG_WARNING_TYPE, id = 0;
  bool binary = false;
  // show
  std::string mode = "page", where, order;
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
  printer.Print(FromRecord(r, Args().file));
}

int Open(kiv::KivLogFile& log) {
  return log.OpenEventLog(U16(Args().file), Args().keep_alive) ? ReportError("open") : 0;
}

int Create() {
  DbArgs& a = Args();
  kiv::KivLogFile log;
  if (log.CreateEventLog(U16(a.file), a.max_records, a.wrapping, a.days, U16(a.backup))) {
    return ReportError("create");
  }
  std::printf("created %s\n", a.file.c_str());
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

int Show() {
  DbArgs& a = Args();
  kiv::KivLogFile log;
  if (int rc = Open(log)) return rc;
  const kiv::String where = U16(a.where), order = U16(a.order);
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
  if (log.PurgeEventLog(a.records, a.purge_days, U16(a.where))) return ReportError("purge");
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
  if (int rc = Open(log)) return rc;
  if (a.set_wrapping && log.WrappingSet(a.wrapping, a.days)) return ReportError("wrapping");
  if (a.set_max && log.MaxRecordsSet(a.max_records)) return ReportError("max-records");
  if (a.set_backup && log.BackupFileSet(U16(a.backup))) return ReportError("backup");
  int32_t wrapping = 0, days = 0, max = 0;
  kiv::String backup;
  if (log.WrappingGet(wrapping, days) || log.MaxRecordsGet(max) || log.BackupFileGet(backup)) {
    return ReportError("settings");
  }
  if (JsonOutput()) {
    std::cout << nlohmann::json{{"wrapping", wrapping},
                                {"days", days},
                                {"max_records", max},
                                {"backup", U8(backup)}}
                     .dump()
              << "\n";
  } else {
    const char* policy = wrapping == kiv::KLFWM_DONTOVERWRITE       ? "never overwrite"
                         : wrapping == kiv::KLFWM_OVERWRITEASNEEDED ? "overwrite as needed"
                                                                    : "overwrite older";
    std::printf("wrapping     %d (%s)\ndays         %d\nmax records  %d\nbackup file  %s\n",
                wrapping, policy, days, max, U8(backup).c_str());
  }
  return 0;
}

int Watch() {
  DbArgs& a = Args();
  kiv::KivLogFile log;
  if (int rc = Open(log)) return rc;
  int32_t unk = 0;
  if (log.CheckEventLogChanges(unk) < 0) return ReportError("watch");
  for (int seen = 0; a.changes == 0 || seen < a.changes;) {
    std::this_thread::sleep_for(std::chrono::milliseconds(a.interval_ms));
    int32_t rc = log.CheckEventLogChanges(unk);
    if (rc < 0) return ReportError("watch");
    if (rc == 0) continue;
    ++seen;
    int32_t pos = 0;
    if (log.ReadEventLog(kiv::ELREF_LAST, pos) == 0) PrintRecord(log.LogRecord());
    std::fflush(stdout);
  }
  return 0;
}

CLI::App* Sub(CLI::App& db, const char* name, const char* help, int (*run)()) {
  auto* cmd = db.add_subcommand(name, help);
  cmd->add_option("file", Args().file, "Event log database file")->required();
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
  show->add_option("--count", a.count, "Records per page");
  show->add_option("--where", a.where, "A where-clause, e.g. \"where TYPE = 1\"");
  show->add_option("--order", a.order, "An order-by clause");
  show->add_flag("-r,--reverse", a.reverse, "The page's records newest first");

  auto* purge = Sub(*db, "purge", "Purge records (0 0: apply the wrapping policy)", Purge);
  purge->add_option("--records", a.records, "Oldest records to delete (-1 all)");
  purge->add_option("--days", a.purge_days, "Delete records at least this many days old");
  purge->add_option("--where", a.where, "Delete the records of this where-clause");

  Sub(*db, "compact", "Compact the file in place", Compact);

  auto* settings = Sub(*db, "settings", "Show, and optionally change, the settings", Settings);
  settings->add_option("--wrapping", a.wrapping, "-2 never overwrite, 0 as needed, -1 older")
      ->each([&a](const std::string&) { a.set_wrapping = true; });
  settings->add_option("--days", a.days, "Age in days for --wrapping -1");
  settings->add_option("--max-records", a.max_records, "Record limit")
      ->each([&a](const std::string&) { a.set_max = true; });
  settings->add_option("--backup", a.backup, "Backup log file (empty: none)")
      ->each([&a](const std::string&) { a.set_backup = true; });

  auto* watch = Sub(*db, "watch", "Print each change as it is seen", Watch);
  watch->add_option("--interval", a.interval_ms, "Milliseconds between checks");
  watch->add_option("--changes", a.changes, "Stop after this many changes (0: never)");
  watch->add_flag("--keep-alive", a.keep_alive, "Keep the database open between checks");
}

}  // namespace kivlog
