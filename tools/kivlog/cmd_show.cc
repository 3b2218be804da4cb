// kivlog show and tail: page through the logs of one day or of several, of one application or
// of several merged, filtered or not, and follow a log as it grows. Events stream out as they are
// read, a page at a time, so that memory does not grow with the day.
#include <unistd.h>

#include <chrono>
#include <climits>
#include <cstdio>
#include <deque>
#include <thread>

#include "commands.h"
#include "daily.h"
#include "event_cursor.h"
#include "event_writer.h"
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
  bool start_given = false;
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

// The reading of a show or tail: the logs merged, the output, damaged events named on standard
// error as they are met.
class Reading {
 public:
  Reading(kiv::KivLog& log, const LogTarget& target, const FilterArgs& f, bool backwards,
          int32_t start, bool stop_at_damage, bool pager = true)
      : out_(STDOUT_FILENO), grep_(f.grep.empty() ? nullptr : std::make_unique<RawGrep>(f.grep)) {
    const std::vector<AppLogs> apps = MergedLogs(log, target, f);
    const auto filter = MakeFilter(f);
    EventCursor::OnDamaged on_damaged;
    if (!stop_at_damage) {
      on_damaged = [this](const std::string& name, int32_t ordinal, const kiv::ErrorRecord& r) {
        damaged_ = true;
        out_.Flush();
        std::fprintf(stderr, "kivlog: %s: event %d skipped: %s (error %d)\n", name.c_str(), ordinal,
                     U8(r.Description).c_str(), r.Number);
      };
    }
    for (const AppLogs& a : apps) {
      merged_.Add(std::make_unique<EventCursor>(log, a.bases, filter, backwards, start, on_damaged),
                  apps.size() > 1 ? a.app : std::string());
    }
    merged_.SetGrep(grep_.get());
    out_.formatter().Colour(ColourWanted());
    if (pager) StartPager();
  }

  MergedCursor& events() { return merged_; }
  EventOutput& out() { return out_; }
  void Write(const kiv::KivLogEvent& e) {
    out_.Write(e, merged_.cursor().log_name(), merged_.label());
  }
  // The exit code: 1 (the error printed) when a log could not be read, 2 when damaged events
  // were left out.
  int End(const char* what) {
    out_.Flush();
    if (const EventCursor* broken = merged_.failed()) {
      return ReportError(what ? what : broken->log_name(), broken->error());
    }
    return damaged_ ? kDamaged : 0;
  }

 private:
  EventOutput out_;
  std::unique_ptr<RawGrep> grep_;
  MergedCursor merged_;
  bool damaged_ = false;
};

// An event held until the events before it are read, with its label.
struct Held {
  EventRecord event;
  std::string label;
};

// The last `count` events, read backwards, in the order they happened.
std::vector<Held> LastEvents(Reading& r, int count) {
  std::deque<Held> kept;
  for (const kiv::KivLogEvent* e;
       static_cast<int>(kept.size()) < count && (e = r.events().Next());) {
    kept.push_front(Held{FromEvent(*e, r.events().cursor().log_name()), r.events().label()});
  }
  return {kept.begin(), kept.end()};
}

// One day's page: forwards from --start, or backwards from it (newest first with -r), printed
// as it is read; a damaged event ends the page with its error. Short formats end with a line
// saying which events were shown.
int ShowDay(kiv::KivLog& log, const ShowArgs& a) {
  const bool newest_first = a.filter.reverse;
  const bool backwards = a.back || newest_first;
  // -r alone starts from the newest event, as journalctl -r does.
  const int32_t start = newest_first && !a.start_given ? INT_MAX : a.start;
  Reading r(log, a.target, a.filter, backwards, start, true);
  int32_t low = INT_MAX, high = 0, shown = 0;
  auto note = [&](const kiv::KivLogEvent& e) {
    low = std::min(low, e.Ordinal());
    high = std::max(high, e.Ordinal());
    ++shown;
  };
  if (backwards && !newest_first) {
    // A page read backwards is still printed oldest first; --adjust fills it from after --start
    // when the day begins too soon.
    std::vector<Held> page = LastEvents(r, a.count);
    if (a.adjust && static_cast<int>(page.size()) < a.count && !r.events().failed()) {
      ShowArgs after = a;
      after.start = page.empty() ? a.start + 1 : page.back().event.ordinal + 1;
      after.back = after.adjust = false;
      Reading more(log, a.target, a.filter, false, after.start, true);
      while (static_cast<int>(page.size()) < a.count) {
        const kiv::KivLogEvent* e = more.events().Next();
        if (!e) break;
        page.push_back(Held{FromEvent(*e, more.events().cursor().log_name()), {}});
      }
    }
    for (const Held& h : page) {
      const EventRecord& e = h.event;
      r.out().Write(e);
      low = std::min(low, e.ordinal);
      high = std::max(high, e.ordinal);
      ++shown;
    }
  } else {
    for (const kiv::KivLogEvent* e; shown < a.count && (e = r.events().Next());) {
      r.Write(*e);
      note(*e);
    }
  }
  const bool failed = r.events().failed() != nullptr;
  if (!failed && (OutputFormat() == "short" || OutputFormat() == "short-iso")) {
    const std::string base = r.events().cursor().log_name();
    const int32_t events = r.events().cursor().day_events();
    char line[512];
    if (shown == 0) {
      std::snprintf(line, sizeof line, "%s: no events to show (%d in the log)\n", base.c_str(),
                    events);
    } else {
      std::snprintf(line, sizeof line, "-- %s: events %d..%d shown, %d in the log\n", base.c_str(),
                    low, high, events);
    }
    r.out().Text(line);
  }
  return r.End("show");
}

// Several days, or several applications: the first --count events of the range; the last ones
// with --back; the newest first with -r. Damaged events are named and left out.
int ShowRange(kiv::KivLog& log, const ShowArgs& a) {
  const bool newest_first = a.filter.reverse;
  Reading r(log, a.target, a.filter, a.back || newest_first, 0, false);
  if (a.back && !newest_first) {
    for (const Held& h : LastEvents(r, a.count)) r.out().Write(h.event, h.label);
  } else {
    int shown = 0;
    for (const kiv::KivLogEvent* e; shown < a.count && (e = r.events().Next()); ++shown)
      r.Write(*e);
  }
  return r.End(nullptr);
}

int Show(const ShowArgs& a) {
  kiv::KivLog log;
  const bool merged = a.target.all_apps || a.target.apps.size() > 1;
  return !merged && OneDay(a.target, a.filter) ? ShowDay(log, a) : ShowRange(log, a);
}

[[noreturn]] void Follow(kiv::KivLog& log, const TailArgs& a, kiv::String base, int32_t next,
                         EventOutput& out) {
  auto info = std::make_shared<kiv::KivLogInfo>();
  info->FileName(base);
  auto filter = MakeFilter(a.filter);
  std::unique_ptr<RawGrep> grep =
      a.filter.grep.empty() ? nullptr : std::make_unique<RawGrep>(a.filter.grep);
  EventRecord record;
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
    const kiv::Collection& data = *info->LogData();
    const std::string name = U8(base);
    for (int32_t i = 1; i <= data.Count(); ++i) {
      const auto& e = *data.ObjectAt<kiv::KivLogEvent>(i);
      if (filter && !filter->IsValid(e)) continue;
      FillRecord(e, name, record);
      if (!grep || grep->Matches(record.rawdata)) out.Write(record);
    }
    out.Flush();
    next += data.Count();
  }
}

// The last --count events of a day (or of a range), oldest first (newest first with -r); with
// --follow, the events written after them as they come.
int Tail(const TailArgs& a) {
  kiv::KivLog log;
  Reading r(log, a.target, a.filter, true, 0, false, !a.follow);
  if (a.filter.reverse && !a.follow) {
    int shown = 0;
    for (const kiv::KivLogEvent* e; shown < a.count && (e = r.events().Next()); ++shown)
      r.Write(*e);
  } else {
    for (const Held& h : LastEvents(r, a.count)) r.out().Write(h.event, h.label);
  }
  if (!a.follow) return r.End("tail");
  r.out().Flush();
  // The follow goes on after the last event of today's log when the tail read it, else from
  // the first event of today's log.
  const kiv::String today = TargetBase(log, a.target);
  const int32_t read = r.events().failed() ? 0 : r.events().cursor().EventsOfFirstDay(today);
  Follow(log, a, today, read + 1, r.out());
}

}  // namespace

void AddShowCommands(CLI::App& app) {
  static ShowArgs s;
  auto* show = app.add_subcommand(
      "show",
      "Show a page of a day's log, or the events of several days (--since, --until) or "
      "applications (--app A --app B, --all-apps)");
  AddMergedTargetOptions(*show, s.target);
  auto* start = show->add_option("--start", s.start,
                                 "Ordinal of the first event (the last one with --back or -r)");
  start->capture_default_str();
  show->add_option("-n,--count,--lines", s.count, "Number of events in the page")
      ->capture_default_str();
  show->add_flag("--back", s.back,
                 "Read backwards from --start (across days: the last events of the range)");
  show->add_flag("--adjust", s.adjust,
                 "With --back: fill the page from after --start at the start of the log");
  AddFilterOptions(*show, s.filter);
  show->callback([start] {
    s.start_given = start->count() > 0;
    std::exit(Show(s));
  });

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
