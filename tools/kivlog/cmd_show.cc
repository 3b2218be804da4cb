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
