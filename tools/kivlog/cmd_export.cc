// kivlog export: every event of a day's log, or of several days or applications, filtered or
// not, in any output format, to standard output or a file. Events are written as they are read,
// a page at a time, through one buffer.
#include <unistd.h>

#include <iostream>

#include "commands.h"
#include "console.h"
#include "daily.h"
#include "event_cursor.h"
#include "event_writer.h"
#include "output.h"
#include "pager.h"

namespace kivlog {
namespace {

// Exit code when damaged events were left out.
constexpr int kDamaged = 2;

struct ExportArgs {
  LogTarget target;
  std::string format;
  std::string file;
  FilterArgs filter;
};

int Export(const ExportArgs& a) {
  if (!a.format.empty()) Globals().output = a.format == "text" ? "short" : a.format;
  kiv::KivLog log;
  const std::vector<AppLogs> apps = MergedLogs(log, a.target, a.filter);
  const auto filter = MakeFilter(a.filter);
  const std::unique_ptr<RawGrep> grep =
      a.filter.grep.empty() ? nullptr : std::make_unique<RawGrep>(a.filter.grep);
  int fd = STDOUT_FILENO;
  const bool colour = a.file.empty() && ColourWanted();
  if (!a.file.empty()) {
    fd = OpenOutputFile(a.file);
    if (fd < 0) {
      std::cerr << "kivlog: export: cannot write " << a.file << std::endl;
      return 1;
    }
  } else {
    StartPager();
  }
  bool damaged = false;
  std::unique_ptr<Progress> progress;
  EventOutput out(fd);
  out.formatter().Colour(colour);
  // A damaged event cannot be exported: it is named on standard error.
  auto on_damaged = [&](const std::string& name, int32_t ordinal, const kiv::ErrorRecord& r) {
    damaged = true;
    if (progress) progress->Clear();
    out.Flush();
    std::cerr << "kivlog: export: " << name << ": event " << ordinal
              << " skipped: " << U8(r.Description) << " (error " << r.Number << ")" << std::endl;
  };
  MergedCursor events;
  for (const AppLogs& app : apps) {
    events.Add(
        std::make_unique<EventCursor>(log, app.bases, filter, a.filter.reverse, 0, on_damaged),
        apps.size() > 1 ? app.app : std::string());
  }
  events.SetGrep(grep.get());
  int64_t written = 0;
  size_t day = 0;
  for (const kiv::KivLogEvent* e; (e = events.Next());) {
    const EventCursor& from = events.cursor();
    out.Write(*e, from.log_name(), events.label());
    // Progress through one application's days, a day at a time.
    if (++written % 1000 == 0 || day != from.days_begun()) {
      if (apps.size() == 1 && day != from.days_begun()) {
        progress = std::make_unique<Progress>("exporting", from.day_events());
      }
      day = from.days_begun();
      if (progress) progress->Update(e->Ordinal());
    }
  }
  progress.reset();
  out.Flush();
  if (fd != STDOUT_FILENO) ::close(fd);
  if (const EventCursor* broken = events.failed()) return ReportError("export", broken->error());
  if (!a.file.empty() && !JsonOutput()) {
    std::printf("exported %lld events to %s\n", static_cast<long long>(written), a.file.c_str());
  }
  return damaged ? kDamaged : 0;
}

}  // namespace

void AddExportCommand(CLI::App& app) {
  static ExportArgs a;
  auto* cmd = app.add_subcommand(
      "export",
      "Export every event of a day's log (or of --since/--until, or of several applications) in "
      "any output format");
  AddMergedTargetOptions(*cmd, a.target);
  cmd->add_option("--format", a.format, "text, json or csv (the same as -o short, json or csv)")
      ->check(CLI::IsMember({"text", "json", "csv"}));
  cmd->add_option("--output-file", a.file, "Write to this file instead of standard output");
  AddFilterOptions(*cmd, a.filter);
  cmd->callback([] { std::exit(Export(a)); });
}

}  // namespace kivlog
