// kivlog purge: remove one day's log, or every day before a date.
#include <cstdio>
#include <filesystem>
#include <iostream>

#include "commands.h"
#include "daily.h"
#include "dailylog/log_files.h"
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

// Whether either file of a log is there, whatever it is (a symlink or a FIFO included).
bool AnyLogFile(const kiv::String& base) {
  std::error_code ec;
  for (const char* ext : {".ZLG", ".ZLI"}) {
    if (std::filesystem::exists(std::filesystem::symlink_status(U8(base) + ext, ec))) return true;
  }
  return false;
}

// One day's log (today's when --day is not given): its two files and nothing else. Exit code 1
// when there is nothing to remove.
int PurgeOne(kiv::KivLog& log, const PurgeArgs& a) {
  const kiv::String base = TargetBase(log, a.target);
  if (!AnyLogFile(base)) {
    if (JsonOutput()) {
      std::cout
          << nlohmann::json{{"removed", nlohmann::json::array()}, {"missing", U8(base)}}.dump()
          << std::endl;
    } else {
      std::fprintf(stderr, "purge: nothing to remove: no log %s\n", U8(base).c_str());
    }
    return 1;
  }
  if (kiv::KillEventLog(base)) return ReportError("purge");
  if (JsonOutput()) {
    std::cout << nlohmann::json{{"removed", {U8(base)}}}.dump() << std::endl;
  } else {
    std::printf("removed %s\n", U8(base).c_str());
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
      "purge",
      "Remove one day's log (--app, --day; exit code 1 when it is not there), or every day "
      "before --before");
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
