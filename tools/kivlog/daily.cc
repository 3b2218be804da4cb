#include "daily.h"

#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <filesystem>
#include <iostream>

#include "commands.h"
#include "dailylog/log_files.h"
#include "output.h"
#include "platform/clock.h"
#include "platform/date.h"
#include "when.h"

namespace kivlog {

void AddDailyLogCommands(CLI::App& app) {
  AddWriteCommand(app);
  AddShowCommands(app);
  AddListCommand(app);
  AddPurgeCommand(app);
  AddExportCommand(app);
  AddVerifyCommand(app);
}

std::string CheckAppId(const std::string& app) {
  for (unsigned char c : app) {
    if (c == '/' || c == '\\') return "an AppId cannot hold a path separator: " + app;
    if (c < 32 || c == 127) return "an AppId cannot hold a control character";
  }
  return {};
}

void AddTargetOptions(CLI::App& cmd, LogTarget& target) {
  auto* app = cmd.add_option("--app", target.app, "Application identifier (AppId)")
                  ->check(CLI::Validator(CheckAppId, "APPID", "AppId"));
  cmd.add_option("--path", target.path, "Log folder (default: the default log folder)");
  cmd.add_option("--day", target.day, "Day of the log, YYYY-MM-DD (default: today)");
  auto* file = cmd.add_option("--file", target.file,
                              "Log base name or file (.ZLG/.ZLI) instead of --app and --day");
  file->excludes(app);
}

void AddMergedTargetOptions(CLI::App& cmd, LogTarget& target) {
  auto* app = cmd.add_option("--app", target.apps,
                             "Application identifier (AppId); repeat it to merge several "
                             "applications' logs in date order")
                  ->check(CLI::Validator(CheckAppId, "APPID", "AppId"));
  auto* all = cmd.add_flag("--all-apps", target.all_apps,
                           "Every application of the log folder, merged in date order");
  cmd.add_option("--path", target.path, "Log folder (default: the default log folder)");
  cmd.add_option("--day", target.day, "Day of the log, YYYY-MM-DD (default: today)");
  auto* file = cmd.add_option("--file", target.file,
                              "Log base name or file (.ZLG/.ZLI) instead of --app and --day");
  file->excludes(app)->excludes(all);
  all->excludes(app);
  cmd.parse_complete_callback([&target] {
    if (target.apps.size() == 1) target.app = target.apps.front();
  });
}

// The filter the options ask for, or null when they ask for none.
std::shared_ptr<kiv::KivLogFilter> MakeFilter(const FilterArgs& f) {
  auto filter = std::make_shared<kiv::KivLogFilter>();
  int32_t checks = 0;
  if (!f.since.empty() || !f.until.empty()) {
    checks |= kiv::LGFF_CHECKDATE;
    filter->DateStart(f.since.empty() ? kiv::kMinDate : ParseWhen(f.since, "--since"));
    filter->DateEnd(f.until.empty() ? kiv::kMaxDate : ParseWhen(f.until, "--until"));
  }
  auto numbers = [&](const std::vector<int>& values, int32_t flag, auto add) {
    if (!values.empty()) checks |= flag;
    for (int v : values) (filter.get()->*add)(v);
  };
  auto texts = [&](const std::vector<std::string>& values, int32_t flag, auto add) {
    if (!values.empty()) checks |= flag;
    for (const std::string& v : values) (filter.get()->*add)(U16(v));
  };
  numbers(f.types, kiv::LGFF_CHECKTYPE, &kiv::KivLogFilter::TypesAdd);
  numbers(f.ids, kiv::LGFF_CHECKID, &kiv::KivLogFilter::IdsAdd);
  texts(f.categories, kiv::LGFF_CHECKCATEGORY, &kiv::KivLogFilter::CategoriesAdd);
  texts(f.users, kiv::LGFF_CHECKUSER, &kiv::KivLogFilter::UsersAdd);
  texts(f.computers, kiv::LGFF_CHECKCOMPUTER, &kiv::KivLogFilter::ComputersAdd);
  texts(f.sources, kiv::LGFF_CHECKSOURCE, &kiv::KivLogFilter::SourcesAdd);
  texts(f.servers, kiv::LGFF_CHECKSERVER, &kiv::KivLogFilter::ServersAdd);
  texts(f.raws, kiv::LGFF_CHECKRAWDATA, &kiv::KivLogFilter::RawDatasAdd);
  if (checks == 0) return nullptr;
  filter->Checks(checks);
  return filter;
}

void AddFilterOptions(CLI::App& cmd, FilterArgs& f) {
  cmd.add_option(
      "-S,--since,--from", f.since,
      "Only events at or after this time (\"yesterday\", \"-1h\", \"2024-03-05 14:00\")");
  cmd.add_option("-U,--until,--to", f.until, "Only events at or before this time");
  cmd.add_flag("-r,--reverse", f.reverse, "Newest events first");
  cmd.add_option("--type", f.types, "Only events of these types (repeatable)");
  cmd.add_option("--id", f.ids, "Only events with these event ids (repeatable)");
  cmd.add_option("--category", f.categories, "Only these categories, any case (repeatable)");
  cmd.add_option("--user", f.users, "Only these users (repeatable)");
  cmd.add_option("--computer", f.computers, "Only these computers (repeatable)");
  cmd.add_option("--source", f.sources, "Only these sources (repeatable)");
  cmd.add_option("--server", f.servers, "Only these servers (repeatable)");
  cmd.add_option("--raw", f.raws, "Only events whose raw data contains one of these texts");
  cmd.add_option("-g,--grep", f.grep,
                 "Only events whose raw data matches this extended regular expression (any "
                 "case unless it holds a capital letter)");
}

bool IsDamage(int32_t number) {
  return number == 20000 || number == 13 || number == 6 || number == 62 || number == 63;
}

bool WalkDay(kiv::KivLog& log, const std::shared_ptr<kiv::KivLogInfo>& info,
             const std::function<void(const kiv::Collection&)>& on_page,
             const std::function<void(int32_t, const kiv::ErrorRecord&)>& on_damaged) {
  constexpr int32_t kPage = 1000;
  const kiv::Collection& data = *info->LogData();
  for (int32_t start = 1;;) {
    const bool failed = log.EventLogRead(info, start, kPage);
    if (data.Count() > 0) on_page(data);
    start += data.Count();
    if (!failed) {
      // A short page means the read reached the end of the day.
      if (data.Count() < kPage || start > info->Events()) return false;
      continue;
    }
    kiv::ErrorRecord error = kiv::LastErrorRecord();
    if (!IsDamage(error.Number)) return true;
    on_damaged(start, error);
    if (++start > info->Events()) return false;
  }
}

Progress::Progress(const char* label, int64_t total)
    : label_(label), total_(total), shown_(!JsonOutput() && ::isatty(2)) {}

void Progress::Clear() {
  if (shown_) std::fprintf(stderr, "\r%60s\r", "");
}

void Progress::Update(int64_t done) {
  if (shown_) {
    std::fprintf(stderr, "\r%s %lld/%lld", label_, static_cast<long long>(done),
                 static_cast<long long>(total_));
  }
}

std::vector<kiv::String> TargetLogs(kiv::KivLog& log, const LogTarget& target,
                                    const FilterArgs& f) {
  if (OneDay(target, f)) {
    return {TargetBase(log, target)};
  }
  if (target.app.empty()) throw CLI::ValidationError("--app", "give --app or --file");
  const kiv::Date now = kiv::Now();
  const int64_t first = f.since.empty() ? INT64_MIN : kiv::DayNumber(ParseWhen(f.since, "--since"));
  const int64_t last = kiv::DayNumber(f.until.empty() ? now : ParseWhen(f.until, "--until"));
  auto logs = std::make_shared<kiv::Collection>();
  const kiv::String folder = target.path.empty() ? log.LogDefaultPath() : U16(target.path);
  std::vector<std::pair<kiv::String, kiv::String>> days;  // day, base name
  if (!log.EventLogList(logs, folder)) {
    for (int32_t i = 1; i <= logs->Count(); ++i) {
      auto info = logs->ObjectAt<kiv::KivLogInfo>(i);
      if (U8(info->AppId()) != target.app) continue;
      kiv::Date day = 0;
      if (!kiv::ParseDate(info->Day(), day)) continue;  // not a day: not one of these logs
      if (kiv::DayNumber(day) >= first && kiv::DayNumber(day) <= last) {
        days.emplace_back(info->Day(), info->FileName());
      }
    }
  }
  std::sort(days.begin(), days.end());
  std::vector<kiv::String> bases;
  for (auto& d : days) bases.push_back(std::move(d.second));
  return bases;
}

bool OneDay(const LogTarget& target, const FilterArgs& f) {
  return !target.file.empty() || !target.day.empty() || (f.since.empty() && f.until.empty());
}

std::vector<AppLogs> MergedLogs(kiv::KivLog& log, const LogTarget& target, const FilterArgs& f) {
  if (!target.all_apps && target.apps.size() <= 1) {
    return {AppLogs{target.app, TargetLogs(log, target, f)}};
  }
  std::vector<std::string> apps = target.apps;
  if (target.all_apps) {
    auto logs = std::make_shared<kiv::Collection>();
    const kiv::String folder = target.path.empty() ? log.LogDefaultPath() : U16(target.path);
    if (!log.EventLogList(logs, folder)) {
      for (int32_t i = 1; i <= logs->Count(); ++i) {
        apps.push_back(U8(logs->ObjectAt<kiv::KivLogInfo>(i)->AppId()));
      }
    }
    std::sort(apps.begin(), apps.end());
    apps.erase(std::unique(apps.begin(), apps.end()), apps.end());
  }
  std::vector<AppLogs> out;
  for (const std::string& app : apps) {
    LogTarget one = target;
    one.app = app;
    std::vector<kiv::String> bases = TargetLogs(log, one, f);
    // Every application of the folder means those that have a log of the day.
    if (target.all_apps && OneDay(target, f) &&
        !std::filesystem::exists(U8(bases.front()) + U8(log.EXTLOGINDEX()))) {
      continue;
    }
    out.push_back(AppLogs{app, std::move(bases)});
  }
  return out;
}

kiv::String TargetBase(kiv::KivLog& log, const LogTarget& target) {
  if (!target.file.empty()) {
    kiv::String base = U16(target.file);
    for (const char16_t* ext : {u".ZLG", u".ZLI", u".zlg", u".zli"}) {
      kiv::String e(ext);
      if (base.size() > e.size() && base.compare(base.size() - e.size(), e.size(), e) == 0) {
        base.resize(base.size() - e.size());
      }
    }
    return base;
  }
  if (target.app.empty()) throw CLI::ValidationError("--app", "give --app or --file");
  kiv::Date day = target.day.empty() ? 0 : kiv::DateOnly(ParseWhen(target.day, "--day"));
  // The name only: a subcommand that reads must not create the folder it was given.
  const kiv::String folder = target.path.empty() ? log.LogDefaultPath() : U16(target.path);
  return kiv::LogBaseName(folder, U16(target.app), day);
}

}  // namespace kivlog
