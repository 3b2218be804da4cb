// kivlog show and tail: page through the logs of one day or of several, filtered or not, and
// follow a log as it grows.
#include <chrono>
#include <climits>
#include <cstdio>
#include <deque>
#include <thread>

#include "commands.h"
#include "daily.h"
#include "output.h"
#include "pager.h"
#include "platform/date.h"

namespace kivlog {
namespace {

// Exit code when damaged events were left out.
constexpr int kDamaged = 2;

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
  FilterArgs filter;
};

std::vector<EventRecord> Records(const kiv::KivLogInfo& info) {
  const kiv::Collection& data = *info.LogData();
  std::vector<EventRecord> out;
  const std::string name = U8(info.FileName());
  for (int32_t i = 1; i <= data.Count(); ++i) {
    out.push_back(FromEvent(*data.ObjectAt<kiv::KivLogEvent>(i), name));
  }
  return out;
}

// Prints events held oldest first; newest first with --reverse.
void PrintAll(const std::vector<EventRecord>& events, bool reverse) {
  StartPager();
  EventPrinter printer;
  if (reverse) {
    for (auto it = events.rbegin(); it != events.rend(); ++it) printer.Print(*it);
  } else {
    for (const EventRecord& e : events) printer.Print(e);
  }
  std::fflush(stdout);
}

// The events of several days that pass the filter, oldest first: the first `count` of them, or
// the last `count` with `last`. Damaged events are reported on standard error and left out.
int GatherDays(kiv::KivLog& log, const std::vector<kiv::String>& bases,
               const std::shared_ptr<kiv::KivLogFilter>& filter, int count, bool last,
               std::vector<EventRecord>& out) {
  std::deque<EventRecord> kept;
  bool damaged = false;
  for (const kiv::String& base : bases) {
    if (!last && static_cast<int>(kept.size()) >= count) break;
    auto info = std::make_shared<kiv::KivLogInfo>();
    info->FileName(base);
    const std::string name = U8(base);
    const bool failed = WalkDay(
        log, info,
        [&](const kiv::Collection& data) {
          for (int32_t i = 1; i <= data.Count(); ++i) {
            const auto& e = *data.ObjectAt<kiv::KivLogEvent>(i);
            if (filter && !filter->IsValid(e)) continue;
            if (!last && static_cast<int>(kept.size()) >= count) return;
            kept.push_back(FromEvent(e, name));
            if (last && static_cast<int>(kept.size()) > count) kept.pop_front();
          }
        },
        [&](int32_t ordinal, const kiv::ErrorRecord& r) {
          damaged = true;
          std::fprintf(stderr, "kivlog: %s: event %d skipped: %s (error %d)\n", name.c_str(),
                       ordinal, U8(r.Description).c_str(), r.Number);
        });
    if (failed) return ReportError(name);
  }
  out.assign(kept.begin(), kept.end());
  return damaged ? kDamaged : 0;
}

// One day, one page, through the library's own paging reads.
int ShowDay(kiv::KivLog& log, const ShowArgs& a, const kiv::String& base) {
  auto info = std::make_shared<kiv::KivLogInfo>();
  info->FileName(base);
  auto filter = MakeFilter(a.filter);
  int32_t start = a.start;
  bool failed = filter ? (a.back ? log.EventLogFilterBack(info, start, filter, a.count, a.adjust)
                                 : log.EventLogFilter(info, start, filter, a.count))
                       : (a.back ? log.EventLogReadBack(info, start, a.count, a.adjust)
                                 : log.EventLogRead(info, start, a.count));
  if (failed && JsonOutput()) return ReportError("show");  // nothing but the error object
  const std::vector<EventRecord> events = Records(*info);
  PrintAll(events, a.filter.reverse);
  if (!failed && (OutputFormat() == "short" || OutputFormat() == "short-iso")) {
    if (events.empty()) {
      std::printf("%s: no events to show (%d in the log)\n", U8(base).c_str(), info->Events());
    } else {
      std::printf("-- %s: events %d..%d shown, %d in the log\n", U8(base).c_str(),
                  events.front().ordinal, events.back().ordinal, info->Events());
    }
  }
  return failed ? ReportError("show") : 0;
}

int Show(const ShowArgs& a) {
  kiv::KivLog log;
  const std::vector<kiv::String> bases = TargetLogs(log, a.target, a.filter);
  if (bases.size() == 1 && (!a.target.day.empty() || !a.target.file.empty() ||
                            (a.filter.since.empty() && a.filter.until.empty()))) {
    return ShowDay(log, a, bases.front());
  }
  std::vector<EventRecord> events;
  const int rc = GatherDays(log, bases, MakeFilter(a.filter), a.count, a.back, events);
  if (rc == 1) return rc;
  PrintAll(events, a.filter.reverse);
  return rc;
}

// Prints the events of a followed log that pass the filter, as they come.
void PrintNew(const kiv::KivLogInfo& info, const std::shared_ptr<kiv::KivLogFilter>& filter,
              EventPrinter& printer) {
  const kiv::Collection& data = *info.LogData();
  const std::string name = U8(info.FileName());
  for (int32_t i = 1; i <= data.Count(); ++i) {
    const auto& e = *data.ObjectAt<kiv::KivLogEvent>(i);
    if (!filter || filter->IsValid(e)) printer.Print(FromEvent(e, name));
  }
  std::cout.flush();
}

[[noreturn]] void Follow(kiv::KivLog& log, const TailArgs& a, kiv::String base, int32_t next) {
  auto info = std::make_shared<kiv::KivLogInfo>();
  info->FileName(base);
  auto filter = MakeFilter(a.filter);
  EventPrinter printer;
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
    PrintNew(*info, filter, printer);
    next += info->LogData()->Count();
  }
}

int Tail(const TailArgs& a) {
  kiv::KivLog log;
  std::vector<kiv::String> bases = TargetLogs(log, a.target, a.filter);
  std::vector<EventRecord> events;
  int rc = 0;
  int32_t next = 1;
  if (bases.size() == 1) {
    // The last events of one day, read backwards through the library.
    auto info = std::make_shared<kiv::KivLogInfo>();
    info->FileName(bases.front());
    auto filter = MakeFilter(a.filter);
    int32_t start = INT_MAX;
    const bool failed = filter ? log.EventLogFilterBack(info, start, filter, a.count, true)
                               : log.EventLogReadBack(info, start, a.count, true);
    if (failed && !a.follow) return ReportError("tail");
    events = Records(*info);
    next = failed ? 1 : info->Events() + 1;
  } else {
    rc = GatherDays(log, bases, MakeFilter(a.filter), a.count, true, events);
    if (rc == 1) return rc;
  }
  if (!a.follow) {
    PrintAll(events, a.filter.reverse);
    return rc;
  }
  EventPrinter printer;
  for (const EventRecord& e : events) printer.Print(e);
  std::cout.flush();
  const kiv::String today = TargetBase(log, a.target);
  if (bases.empty() || bases.back() != today) next = 1;
  Follow(log, a, today, next);
}

}  // namespace

void AddShowCommands(CLI::App& app) {
  static ShowArgs s;
  auto* show = app.add_subcommand(
      "show", "Show a page of a day's log, or the events of several days (--since, --until)");
  AddTargetOptions(*show, s.target);
  show->add_option("--start", s.start, "Ordinal of the first event (the last one with --back)")
      ->capture_default_str();
  show->add_option("-n,--count,--lines", s.count, "Number of events in the page")
      ->capture_default_str();
  show->add_flag("--back", s.back,
                 "Read backwards from --start (across days: the last events of the range)");
  show->add_flag("--adjust", s.adjust,
                 "With --back: fill the page from after --start at the start of the log");
  AddFilterOptions(*show, s.filter);
  show->callback([] { std::exit(Show(s)); });

  static TailArgs t;
  auto* tail = app.add_subcommand("tail", "Show the last events of a day's log, and follow it");
  AddTargetOptions(*tail, t.target);
  tail->add_option("-n,--count,--lines", t.count, "Number of events")->capture_default_str();
  tail->add_flag("-f,--follow", t.follow, "Keep printing events as they are written");
  tail->add_option("--interval", t.interval_ms, "Milliseconds between looks with --follow")
      ->capture_default_str();
  AddFilterOptions(*tail, t.filter);
  tail->callback([] { std::exit(Tail(t)); });
}

}  // namespace kivlog
