// kivlog purge: remove one day's log, or every day before a date.
#include <cstdio>
#include <iostream>

#include "commands.h"
#include "daily.h"
#include "output.h"
#include "platform/date.h"
#include "when.h"

namespace kivlog {
namespace {

struct PurgeArgs {
  LogTarget target;
  std::string before;
};

int CountLogs(kiv::KivLog& log, const kiv::String& folder) {
  auto logs = std::make_shared<kiv::Collection>();
  return log.EventLogList(logs, folder) ? -1 : logs->Count();
}

// One day's log: open it (it must exist) and purge it under its Id.
int PurgeOne(kiv::KivLog& log, const PurgeArgs& a) {
  kiv::Date day = a.target.day.empty() ? 0 : kiv::DateOnly(ParseWhen(a.target.day, "--day"));
  int32_t id =
      log.EventLogOpen(U16(a.target.app), U16(a.target.path), kiv::ELOF_OPEN_EXISTING, day);
  if (id == 0) return ReportError("purge");
  std::shared_ptr<kiv::KivLogInfo> info;
  log.EventLogInfo(id, info);
  if (log.EventLogPurge(id)) return ReportError("purge");
  if (JsonOutput()) {
    std::cout << nlohmann::json{{"removed", {U8(info->FileName())}}}.dump() << std::endl;
  } else {
    std::printf("removed %s\n", U8(info->FileName()).c_str());
  }
  return 0;
}

int PurgeBefore(kiv::KivLog& log, const PurgeArgs& a) {
  kiv::Date before = ParseWhen(a.before, "--before");
  const kiv::String folder = a.target.path.empty() ? log.LogDefaultPath() : U16(a.target.path);
  const int before_count = CountLogs(log, folder);
  if (!JsonOutput())
    std::fprintf(stderr, "purging logs before %s in %s ...\n",
                 U8(kiv::FormatIsoDateTime(before)).substr(0, 10).c_str(), U8(folder).c_str());
  bool failed = log.EventLogPurgeEx(before, U16(a.target.app), folder);
  const int removed = before_count - CountLogs(log, folder);
  if (JsonOutput()) {
    std::cout << nlohmann::json{{"folder", U8(folder)}, {"removed", removed}}.dump() << std::endl;
  } else {
    std::printf("removed %d log%s\n", removed, removed == 1 ? "" : "s");
  }
  return failed ? ReportError("purge") : 0;
}

int Purge(const PurgeArgs& a) {
  kiv::KivLog log;
  if (!a.before.empty()) return PurgeBefore(log, a);
  if (a.target.app.empty())
    throw CLI::ValidationError("--app", "give --app (and --day) or --before");
  return PurgeOne(log, a);
}

}  // namespace

void AddPurgeCommand(CLI::App& app) {
  static PurgeArgs a;
  auto* cmd = app.add_subcommand(
      "purge", "Remove one day's log (--app, --day), or every day before --before");
  cmd->add_option("--app", a.target.app, "Application identifier (with --before: only its logs)")
      ->check(CLI::Validator(CheckAppId, "APPID", "AppId"));
  cmd->add_option("--path", a.target.path, "Log folder (default: the default log folder)");
  cmd->add_option("--day", a.target.day, "Day of the log to remove, YYYY-MM-DD (default: today)");
  auto* before = cmd->add_option(
      "--before", a.before,
      "Remove every day before this date (\"-30d\", \"yesterday\", \"2024-03-01\")");
  before->excludes(cmd->get_option("--day"));
  cmd->callback([] { std::exit(Purge(a)); });
}

}  // namespace kivlog
