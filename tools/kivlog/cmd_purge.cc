// kivlog purge: remove one day's log, or every day before a date.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <iostream>
#include <string>

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
  std::string max_size;
};

namespace fs = std::filesystem;

// The copies `verify --repair` keeps of both files of a log it repairs: base.ZLG.bak and
// base.ZLI.bak, base.ZLG.bak2 and base.ZLI.bak2 ... The stem (the log's base name without its
// folder) of such a file, or empty.
std::string BackupStem(const std::string& name) {
  for (const char* ext : {".ZLG.bak", ".ZLI.bak"}) {
    const size_t at = name.rfind(ext);
    if (at == std::string::npos || at == 0) continue;
    const size_t digits = at + std::char_traits<char>::length(ext);
    if (name.find_first_not_of("0123456789", digits) == std::string::npos) {
      return name.substr(0, at);
    }
  }
  return {};
}

// The backups of logs that are gone, in `folder`, whose stem `doomed` accepts. A log whose files
// could not be removed keeps its backups.
void RemoveBackups(const std::string& folder,
                   const std::function<bool(const std::string&)>& doomed) {
  std::error_code ec;
  std::vector<fs::path> gone;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder, ec)) {
    const std::string stem = BackupStem(entry.path().filename().string());
    if (stem.empty() || !doomed(stem)) continue;
    const std::string base = folder + "/" + stem;
    if (!fs::exists(fs::symlink_status(base + ".ZLG", ec)) &&
        !fs::exists(fs::symlink_status(base + ".ZLI", ec))) {
      gone.push_back(entry.path());
    }
  }
  for (const fs::path& p : gone) fs::remove(p, ec);
}

// The day "YYYYMMDD" of a log stem "APP_YYYYMMDD", or empty when it has none.
std::string StemDay(const std::string& stem) {
  const size_t underscore = stem.find('_');
  if (underscore == std::string::npos || stem.size() - underscore != 9) return {};
  const std::string day = stem.substr(underscore + 1);
  for (char c : day) {
    if (c < '0' || c > '9') return {};
  }
  return day;
}

int CountLogs(kiv::KivLog& log, const kiv::String& folder) {
  auto logs = std::make_shared<kiv::Collection>();
  return log.EventLogList(logs, folder) ? -1 : logs->Count();
}

// Whether either file of a log, or a first backup of one, is there, whatever it is (a symlink or
// a FIFO included).
bool AnyLogFile(const kiv::String& base) {
  std::error_code ec;
  for (const char* ext : {".ZLG", ".ZLI", ".ZLG.bak", ".ZLI.bak"}) {
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
  const fs::path path = fs::path(U8(base));
  const std::string stem = path.filename().string();
  RemoveBackups(path.parent_path().string(), [&](const std::string& s) { return s == stem; });
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
  const kiv::DateParts p = kiv::SplitDate(before);
  char before_day[16];
  std::snprintf(before_day, sizeof before_day, "%04d%02d%02d", p.year, p.month, p.day);
  RemoveBackups(U8(folder), [&](const std::string& stem) {
    const std::string day = StemDay(stem);
    return (a.target.app.empty() || stem.rfind(a.target.app + "_", 0) == 0) && !day.empty() &&
           day < before_day;
  });
  if (JsonOutput()) {
    std::cout << nlohmann::json{{"folder", U8(folder)}, {"removed", removed}}.dump() << std::endl;
  } else {
    std::printf("removed %d log%s\n", removed, removed == 1 ? "" : "s");
  }
  return failed ? ReportError("purge") : 0;
}

// "500M", "2G", "64K", "1T" or a number of bytes, as journalctl --vacuum-size reads them.
int64_t ParseSize(const std::string& text) {
  size_t used = 0;
  int64_t n = -1;
  try {
    n = std::stoll(text, &used);
  } catch (const std::exception&) {
  }
  std::string unit = text.substr(std::min(used, text.size()));
  if (!unit.empty() && (unit.back() == 'B' || unit.back() == 'b') && unit.size() == 2)
    unit.pop_back();
  int64_t scale = 1;
  if (unit == "K" || unit == "k")
    scale = int64_t{1} << 10;
  else if (unit == "M" || unit == "m")
    scale = int64_t{1} << 20;
  else if (unit == "G" || unit == "g")
    scale = int64_t{1} << 30;
  else if (unit == "T" || unit == "t")
    scale = int64_t{1} << 40;
  else if (!unit.empty())
    n = -1;
  if (n < 0) throw CLI::ValidationError("--max-size", "not a size: " + text);
  return n * scale;
}

int64_t SizeOr0(const std::string& path) {
  std::error_code ec;
  const auto n = fs::file_size(path, ec);
  return ec ? 0 : static_cast<int64_t>(n);
}

// Keeps the newest days whose files fit in --max-size together and removes the older ones, as
// journalctl --vacuum-size does; a day's backups count with it.
int PurgeToSize(kiv::KivLog& log, const PurgeArgs& a) {
  const int64_t limit = ParseSize(a.max_size);
  const kiv::String folder = a.target.path.empty() ? log.LogDefaultPath() : U16(a.target.path);
  auto logs = std::make_shared<kiv::Collection>();
  if (log.EventLogList(logs, folder)) return ReportError("purge");
  struct Day {
    std::string day, base;
    int64_t bytes;
  };
  std::vector<Day> days;
  for (int32_t i = 1; i <= logs->Count(); ++i) {
    auto info = logs->ObjectAt<kiv::KivLogInfo>(i);
    if (!a.target.app.empty() && U8(info->AppId()) != a.target.app) continue;
    const std::string base = U8(info->FileName());
    int64_t bytes = SizeOr0(base + ".ZLG") + SizeOr0(base + ".ZLI");
    const std::string stem = fs::path(base).filename().string();
    std::error_code ec;
    for (const fs::directory_entry& e : fs::directory_iterator(U8(folder), ec)) {
      if (BackupStem(e.path().filename().string()) == stem) bytes += SizeOr0(e.path().string());
    }
    days.push_back({U8(info->Day()), base, bytes});
  }
  std::sort(days.begin(), days.end(), [](const Day& x, const Day& y) {
    return x.day != y.day ? x.day > y.day : x.base > y.base;
  });
  int64_t kept = 0;
  int removed = 0;
  bool failed = false;
  for (const Day& d : days) {
    if (kept + d.bytes <= limit && removed == 0) {
      kept += d.bytes;
      continue;
    }
    if (kiv::KillEventLog(U16(d.base))) {
      failed = true;
      break;
    }
    const std::string stem = fs::path(d.base).filename().string();
    RemoveBackups(U8(folder), [&](const std::string& s) { return s == stem; });
    ++removed;
  }
  if (JsonOutput()) {
    std::cout
        << nlohmann::json{{"folder", U8(folder)}, {"removed", removed}, {"kept_bytes", kept}}.dump()
        << std::endl;
  } else {
    std::printf("removed %d log%s, %lld bytes kept\n", removed, removed == 1 ? "" : "s",
                static_cast<long long>(kept));
  }
  return failed ? ReportError("purge") : 0;
}

int Purge(const PurgeArgs& a) {
  kiv::KivLog log;
  if (!a.max_size.empty()) return PurgeToSize(log, a);
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
      "Remove one day's log (--app, --day; exit code 1 when it is not there), every day "
      "before --before, or the oldest days beyond --max-size; the backups of verify --repair go "
      "with their day");
  cmd->add_option("--app", a.target.app, "Application identifier (with --before: only its logs)")
      ->check(CLI::Validator(CheckAppId, "APPID", "AppId"));
  cmd->add_option("--path", a.target.path, "Log folder (default: the default log folder)");
  cmd->add_option("--day", a.target.day, "Day of the log to remove, YYYY-MM-DD (default: today)");
  auto* before = cmd->add_option(
      "--before", a.before,
      "Remove every day before this date (\"-30d\", \"yesterday\", \"2024-03-01\")");
  before->excludes(cmd->get_option("--day"));
  cmd->add_option("--max-size", a.max_size,
                  "Keep the newest days whose files fit in this size (\"500M\", \"2G\", bytes) "
                  "and remove the older ones")
      ->excludes(before)
      ->excludes(cmd->get_option("--day"));
  cmd->callback([] { std::exit(Purge(a)); });
}

}  // namespace kivlog
