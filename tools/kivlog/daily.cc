#include "daily.h"

#include <unistd.h>

#include <cstdio>
#include <iostream>

#include "commands.h"
#include "dailylog/log_files.h"
#include "output.h"
#include "platform/date.h"

namespace kivlog {

void AddDailyLogCommands(CLI::App& app) {
  AddWriteCommand(app);
  AddShowCommands(app);
  AddListCommand(app);
  AddPurgeCommand(app);
  AddExportCommand(app);
  AddVerifyCommand(app);
}

void AddTargetOptions(CLI::App& cmd, LogTarget& target) {
  auto* app = cmd.add_option("--app", target.app, "Application identifier (AppId)");
  cmd.add_option("--path", target.path, "Log folder (default: the default log folder)");
  cmd.add_option("--day", target.day, "Day of the log, YYYY-MM-DD (default: today)");
  auto* file = cmd.add_option("--file", target.file,
                              "Log base name or file (.ZLG/.ZLI) instead of --app and --day");
  file->excludes(app);
}

kiv::Date ParseDateOption(const std::string& text, const char* option) {
  kiv::Date d = 0;
  if (!kiv::ParseDate(U16(text), d)) {
    throw CLI::ValidationError(option, "not a date: " + text);
  }
  return d;
}

// The filter the options ask for, or null when they ask for none.
std::shared_ptr<kiv::KivLogFilter> MakeFilter(const FilterArgs& f) {
  auto filter = std::make_shared<kiv::KivLogFilter>();
  int32_t checks = 0;
  if (!f.from.empty() || !f.to.empty()) {
    checks |= kiv::LGFF_CHECKDATE;
    filter->DateStart(f.from.empty() ? kiv::kMinDate : ParseDateOption(f.from, "--from"));
    filter->DateEnd(f.to.empty() ? kiv::kMaxDate : ParseDateOption(f.to, "--to"));
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
  cmd.add_option("--from", f.from, "Only events at or after this date and time");
  cmd.add_option("--to", f.to, "Only events at or before this date and time");
  cmd.add_option("--type", f.types, "Only events of these types (repeatable)");
  cmd.add_option("--id", f.ids, "Only events with these event ids (repeatable)");
  cmd.add_option("--category", f.categories, "Only these categories, any case (repeatable)");
  cmd.add_option("--user", f.users, "Only these users (repeatable)");
  cmd.add_option("--computer", f.computers, "Only these computers (repeatable)");
  cmd.add_option("--source", f.sources, "Only these sources (repeatable)");
  cmd.add_option("--server", f.servers, "Only these servers (repeatable)");
  cmd.add_option("--raw", f.raws, "Only events whose raw data contains one of these texts");
}

namespace {

// The errors a read meets in a damaged record or index entry, as opposed to the log's files
// themselves failing.
bool IsDamage(int32_t number) {
  return number == 20000 || number == 13 || number == 6 || number == 62 || number == 63;
}

}  // namespace

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
    : label_(label), total_(total), shown_(!Globals().json && ::isatty(2)) {}

void Progress::Clear() {
  if (shown_) std::fprintf(stderr, "\r%60s\r", "");
}

void Progress::Update(int64_t done) {
  if (shown_) {
    std::fprintf(stderr, "\r%s %lld/%lld", label_, static_cast<long long>(done),
                 static_cast<long long>(total_));
  }
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
  kiv::Date day = target.day.empty() ? 0 : ParseDateOption(target.day, "--day");
  // The name only: a subcommand that reads must not create the folder it was given.
  const kiv::String folder = target.path.empty() ? log.LogDefaultPath() : U16(target.path);
  return kiv::LogBaseName(folder, U16(target.app), day);
}

void PrintPage(const kiv::KivLogInfo& info, int32_t start) {
  const kiv::Collection& data = *info.LogData();
  if (Globals().json) {
    nlohmann::json items = nlohmann::json::array();
    for (int32_t i = 1; i <= data.Count(); ++i)
      items.push_back(EventJson(*data.ObjectAt<kiv::KivLogEvent>(i)));
    nlohmann::json doc = {{"log", U8(info.FileName())},
                          {"events", info.Events()},
                          {"start", start},
                          {"items", items}};
    std::cout << doc.dump() << std::endl;
    return;
  }
  for (int32_t i = 1; i <= data.Count(); ++i) PrintEventText(*data.ObjectAt<kiv::KivLogEvent>(i));
  if (data.Count() == 0) {
    std::printf("%s: no events to show (%d in the log)\n", U8(info.FileName()).c_str(),
                info.Events());
  } else {
    std::printf("-- %s: events %d..%d shown, %d in the log\n", U8(info.FileName()).c_str(),
                data.ObjectAt<kiv::KivLogEvent>(1)->Ordinal(),
                data.ObjectAt<kiv::KivLogEvent>(data.Count())->Ordinal(), info.Events());
  }
}

void PrintFollowed(const kiv::KivLogEvent& e) {
  if (Globals().json) {
    std::cout << EventJson(e).dump() << std::endl;
  } else {
    PrintEventText(e);
    std::fflush(stdout);
  }
}

}  // namespace kivlog
