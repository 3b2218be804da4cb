// kivlog export: every event of a day's log, or of several days, filtered or not, in any output
// format, to standard output or a file.
#include <fstream>
#include <iostream>

#include "commands.h"
#include "daily.h"
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

// Writes the events page by page as they are read, so that a large day is never held whole;
// with --reverse they are held and written newest first at the end.
class Exporter {
 public:
  Exporter(std::ostream& out, const std::shared_ptr<kiv::KivLogFilter>& filter, bool reverse)
      : printer_(out), filter_(filter), reverse_(reverse) {}

  void Page(const kiv::Collection& data, const std::string& log) {
    for (int32_t i = 1; i <= data.Count(); ++i) {
      const auto& e = *data.ObjectAt<kiv::KivLogEvent>(i);
      if (filter_ && !filter_->IsValid(e)) continue;
      if (reverse_) {
        held_.push_back(FromEvent(e, log));
      } else {
        printer_.Print(FromEvent(e, log));
      }
      ++written_;
    }
  }

  // A damaged event cannot be exported: it is reported on standard error.
  void Damaged(const std::string& log, int32_t ordinal, const kiv::ErrorRecord& r) {
    std::cerr << "kivlog: export: " << log << ": event " << ordinal
              << " skipped: " << U8(r.Description) << " (error " << r.Number << ")" << std::endl;
    damaged_ = true;
  }

  void End() {
    for (auto it = held_.rbegin(); it != held_.rend(); ++it) printer_.Print(*it);
  }

  bool AnyDamaged() const { return damaged_; }
  int64_t written() const { return written_; }

 private:
  EventPrinter printer_;
  std::shared_ptr<kiv::KivLogFilter> filter_;
  bool reverse_;
  std::vector<EventRecord> held_;
  int64_t written_ = 0;
  bool damaged_ = false;
};

int Export(const ExportArgs& a) {
  if (!a.format.empty()) Globals().output = a.format == "text" ? "short" : a.format;
  kiv::KivLog log;
  const std::vector<kiv::String> bases = TargetLogs(log, a.target, a.filter);
  std::ofstream file;
  if (!a.file.empty()) {
    file.open(a.file, std::ios::binary | std::ios::trunc);
    if (!file) {
      std::cerr << "kivlog: export: cannot write " << a.file << std::endl;
      return 1;
    }
  } else {
    StartPager();
  }
  std::ostream& out = a.file.empty() ? std::cout : file;
  Exporter exporter(out, MakeFilter(a.filter), a.filter.reverse);
  for (const kiv::String& base : bases) {
    auto info = std::make_shared<kiv::KivLogInfo>();
    info->FileName(base);
    const std::string name = U8(base);
    // A read of no events opens the log and fetches its count, before anything is written.
    if (log.EventLogRead(info, 1, 0)) return ReportError("export");
    Progress progress("exporting", info->Events());
    const bool failed = WalkDay(
        log, info,
        [&](const kiv::Collection& data) {
          progress.Clear();
          exporter.Page(data, name);
          progress.Update(data.ObjectAt<kiv::KivLogEvent>(data.Count())->Ordinal());
        },
        [&](int32_t ordinal, const kiv::ErrorRecord& r) {
          progress.Clear();
          exporter.Damaged(name, ordinal, r);
        });
    if (failed) return ReportError("export");
  }
  exporter.End();
  out.flush();
  if (!a.file.empty() && !JsonOutput()) {
    std::printf("exported %lld events to %s\n", static_cast<long long>(exporter.written()),
                a.file.c_str());
  }
  return exporter.AnyDamaged() ? kDamaged : 0;
}

}  // namespace

void AddExportCommand(CLI::App& app) {
  static ExportArgs a;
  auto* cmd = app.add_subcommand(
      "export", "Export every event of a day's log (or of --since/--until) in any output format");
  AddTargetOptions(*cmd, a.target);
  cmd->add_option("--format", a.format, "text, json or csv (the same as -o short, json or csv)")
      ->check(CLI::IsMember({"text", "json", "csv"}));
  cmd->add_option("--output-file", a.file, "Write to this file instead of standard output");
  AddFilterOptions(*cmd, a.filter);
  cmd->callback([] { std::exit(Export(a)); });
}

}  // namespace kivlog
