// What the daily log subcommands share: choosing logs, reading dates, walking days.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "kivdbxt/error.h"
#include "kivdbxt/kiv_log.h"

namespace kivlog {

// Which day's log a subcommand works on: --file names it directly, otherwise --app, --path and
// --day (today when not given) build its name.
struct LogTarget {
  std::string app;
  std::vector<std::string> apps;  // show and export: several --app, merged
  bool all_apps = false;          // show and export: every application of the folder
  std::string path;
  std::string day;
  std::string file;
};

// An AppId kivlog accepts: no path separator and no control character, so that a log can never
// land outside its folder. Raises CLI::ValidationError otherwise (the check of --app options).
std::string CheckAppId(const std::string& app);
void AddTargetOptions(CLI::App& cmd, LogTarget& target);
// The same for the subcommands that merge several applications' logs (--app repeated,
// --all-apps).
void AddMergedTargetOptions(CLI::App& cmd, LogTarget& target);
// The log base name of the target; its folder is not created. Raises CLI::ValidationError on a
// bad date.
kiv::String TargetBase(kiv::KivLog& log, const LogTarget& target);

// The event filter options of the reading subcommands.
struct FilterArgs {
  std::string since, until;
  bool reverse = false;
  std::vector<int> types, ids;
  std::vector<std::string> categories, users, computers, sources, servers, raws;
  std::string grep;  // --grep: a regular expression on the raw data
};
void AddFilterOptions(CLI::App& cmd, FilterArgs& f);
// The filter the options ask for, or null when they ask for none.
std::shared_ptr<kiv::KivLogFilter> MakeFilter(const FilterArgs& f);
// The base names to read, oldest day first: the one log of --file or --day; with --since or
// --until, every day of the application's logs in that range; else today's log.
std::vector<kiv::String> TargetLogs(kiv::KivLog& log, const LogTarget& target, const FilterArgs& f);

// The errors a read meets in a damaged record or index entry, as opposed to the log's files
// themselves failing.
bool IsDamage(int32_t number);

// One application's logs to read, oldest day first.
struct AppLogs {
  std::string app;
  std::vector<kiv::String> bases;
};
// The logs of every application the target names (one when it names one): with --all-apps, the
// applications that have logs of that day or range in the folder.
std::vector<AppLogs> MergedLogs(kiv::KivLog& log, const LogTarget& target, const FilterArgs& f);
// Whether one day is read (--file, --day, or today's without --since/--until) rather than a range.
bool OneDay(const LogTarget& target, const FilterArgs& f);

// Walks a whole day from its first event, page by page, through the library's reads. A read
// stops at a damaged event; the walk hands it to on_damaged (with the error the read recorded)
// and goes on after it, so that nothing readable is left out. Returns True when the log itself
// could not be read (not found, locked ...): that error is the one recorded.
bool WalkDay(kiv::KivLog& log, const std::shared_ptr<kiv::KivLogInfo>& info,
             const std::function<void(const kiv::Collection&)>& on_page,
             const std::function<void(int32_t, const kiv::ErrorRecord&)>& on_damaged);

// Shows "label done/total" on standard error while a long job runs, when it is a terminal.
class Progress {
 public:
  Progress(const char* label, int64_t total);
  ~Progress() { Clear(); }
  void Update(int64_t done);
  // Erases the progress line, before other output goes to the same terminal.
  void Clear();

 private:
  const char* label_;
  int64_t total_;
  bool shown_;
};

void AddWriteCommand(CLI::App& app);
void AddShowCommands(CLI::App& app);  // show, tail
void AddListCommand(CLI::App& app);
void AddPurgeCommand(CLI::App& app);
void AddExportCommand(CLI::App& app);
void AddVerifyCommand(CLI::App& app);

}  // namespace kivlog
