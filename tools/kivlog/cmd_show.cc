// kivlog show and tail: page through a day's log, filtered or not, and follow it as it grows.
#include <chrono>
#include <climits>
#include <thread>

#include "commands.h"
#include "daily.h"
#include "output.h"
#include "platform/date.h"

namespace kivlog {
namespace {

struct FilterArgs {
  std::string from, to;
  std::vector<int> types, ids;
  std::vector<std::string> categories, users, computers, sources, servers, raws;
};

struct ShowArgs {
  LogTarget target;
  int start = 1, count = 20;
  bool back = false, adjust = false;
  FilterArgs filter;
};

struct TailArgs {
  LogTarget target;
  int count = 10;
  bool follow = false;
  int interval_ms = 500;
};

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

int Show(const ShowArgs& a) {
  kiv::KivLog log;
  auto info = std::make_shared<kiv::KivLogInfo>();
  info->FileName(TargetBase(log, a.target));
  auto filter = MakeFilter(a.filter);
  int32_t start = a.start;
  bool failed = filter ? (a.back ? log.EventLogFilterBack(info, start, filter, a.count, a.adjust)
                                 : log.EventLogFilter(info, start, filter, a.count))
                       : (a.back ? log.EventLogReadBack(info, start, a.count, a.adjust)
                                 : log.EventLogRead(info, start, a.count));
  if (failed && Globals().json) return ReportError("show");  // one JSON document
  PrintPage(*info, start);
  return failed ? ReportError("show") : 0;
}

int Tail(const TailArgs& a) {
  kiv::KivLog log;
  auto info = std::make_shared<kiv::KivLogInfo>();
  kiv::String base = TargetBase(log, a.target);
  info->FileName(base);
  int32_t start = INT_MAX;
  bool failed = log.EventLogReadBack(info, start, a.count, true);
  if (!a.follow) {
    if (failed && Globals().json) return ReportError("tail");
    PrintPage(*info, start);
    return failed ? ReportError("tail") : 0;
  }
  const kiv::Collection& data = *info->LogData();
  for (int32_t i = 1; i <= data.Count(); ++i) PrintFollowed(*data.ObjectAt<kiv::KivLogEvent>(i));
  int32_t next = failed ? 1 : info->Events() + 1;
  for (;;) {
    std::this_thread::sleep_for(std::chrono::milliseconds(a.interval_ms));
    // Following an application's log of today moves on to the next day's log at midnight.
    if (a.target.day.empty() && a.target.file.empty()) {
      kiv::String today = TargetBase(log, a.target);
      if (today != base) {
        base = today;
        info->FileName(base);
        next = 1;
      }
    }
    if (log.EventLogRead(info, next, 1000)) continue;  // not there yet, or busy: try again
    for (int32_t i = 1; i <= data.Count(); ++i) PrintFollowed(*data.ObjectAt<kiv::KivLogEvent>(i));
    next += data.Count();
  }
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

}  // namespace

void AddShowCommands(CLI::App& app) {
  static ShowArgs s;
  auto* show = app.add_subcommand("show", "Show a page of a day's log, forwards or backwards");
  AddTargetOptions(*show, s.target);
  show->add_option("--start", s.start, "Ordinal of the first event (the last one with --back)")
      ->capture_default_str();
  show->add_option("-n,--count", s.count, "Number of events in the page")->capture_default_str();
  show->add_flag("--back", s.back, "Read backwards from --start (the page is still in order)");
  show->add_flag("--adjust", s.adjust,
                 "With --back: fill the page from after --start at the "
                 "start of the log");
  AddFilterOptions(*show, s.filter);
  show->callback([] { std::exit(Show(s)); });

  static TailArgs t;
  auto* tail = app.add_subcommand("tail", "Show the last events of a day's log");
  AddTargetOptions(*tail, t.target);
  tail->add_option("-n,--count", t.count, "Number of events")->capture_default_str();
  tail->add_flag("-f,--follow", t.follow, "Keep printing events as they are written");
  tail->add_option("--interval", t.interval_ms, "Milliseconds between looks with --follow")
      ->capture_default_str();
  tail->callback([] { std::exit(Tail(t)); });
}

}  // namespace kivlog
