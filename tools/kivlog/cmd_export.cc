// kivlog export: every event of a day's log (filtered or not) as text, JSON or CSV.
#include <fstream>
#include <iostream>

#include "commands.h"
#include "daily.h"
#include "output.h"
#include "platform/date.h"

namespace kivlog {
namespace {

// Exit code when damaged events were left out.
constexpr int kDamaged = 2;

struct ExportArgs {
  LogTarget target;
  std::string format = "text";
  std::string output;
  FilterArgs filter;
};

const char kCsvHeader[] =
    "ordinal,offset,unk,date,source,type,category,id,user,computer,server,datatype,rawdata";

void WriteCsvRow(std::ostream& out, const kiv::KivLogEvent& e) {
  out << e.Ordinal() << ',' << e.Offset() << ',' << e.EvUnk() << ','
      << U8(kiv::FormatIsoDateTime(e.EvDate())) << ',' << CsvField(U8(e.EvSource())) << ','
      << e.EvType() << ',' << CsvField(U8(e.EvCategory())) << ',' << e.EvId() << ','
      << CsvField(U8(e.EvUser())) << ',' << CsvField(U8(e.EvComputer())) << ','
      << CsvField(U8(e.EvServer())) << ',' << e.EvDataType() << ',' << CsvField(U8(e.EvRawData()))
      << "\r\n";
}

// Writes the events page by page as they are read, so that a large day is never held whole.
class Exporter {
 public:
  Exporter(std::ostream& out, const std::string& format,
           const std::shared_ptr<kiv::KivLogFilter>& filter)
      : out_(out), format_(format), filter_(filter) {}

  void Begin(const kiv::KivLogInfo& info) {
    if (format_ == "csv") out_ << kCsvHeader << "\r\n";
    if (format_ == "json") {
      out_ << "{\"log\":" << nlohmann::json(U8(info.FileName())).dump()
           << ",\"events\":" << info.Events() << ",\"items\":[";
    }
  }

  void Page(const kiv::Collection& data) {
    for (int32_t i = 1; i <= data.Count(); ++i) {
      const auto& e = *data.ObjectAt<kiv::KivLogEvent>(i);
      if (filter_ && !filter_->IsValid(e)) continue;
      if (format_ == "csv") {
        WriteCsvRow(out_, e);
      } else if (format_ == "json") {
        out_ << (written_ > 0 ? "," : "") << EventJson(e).dump();
      } else {
        PrintEventText(e, out_);
      }
      ++written_;
    }
  }

  // A damaged event cannot be exported: it is reported on standard error, and listed in a JSON
  // document.
  void Damaged(int32_t ordinal, const kiv::ErrorRecord& r) {
    std::cerr << "kivlog: export: event " << ordinal << " skipped: " << U8(r.Description)
              << " (error " << r.Number << ")" << std::endl;
    damaged_.push_back(
        {{"ordinal", ordinal}, {"number", r.Number}, {"description", U8(r.Description)}});
  }

  void End() {
    if (format_ == "json") {
      out_ << "],\"exported\":" << written_ << ",\"damaged\":" << damaged_.dump() << "}\n";
    }
    out_.flush();
  }

  bool AnyDamaged() const { return !damaged_.empty(); }

  int64_t written() const { return written_; }

 private:
  std::ostream& out_;
  const std::string& format_;
  std::shared_ptr<kiv::KivLogFilter> filter_;
  int64_t written_ = 0;
  nlohmann::json damaged_ = nlohmann::json::array();
};

int Export(const ExportArgs& a) {
  kiv::KivLog log;
  auto info = std::make_shared<kiv::KivLogInfo>();
  info->FileName(TargetBase(log, a.target));
  // A read of no events opens the log and fetches its count, before anything is written.
  if (log.EventLogRead(info, 1, 0)) return ReportError("export");

  std::ofstream file;
  if (!a.output.empty()) {
    file.open(a.output, std::ios::binary | std::ios::trunc);
    if (!file) {
      std::cerr << "kivlog: export: cannot write " << a.output << std::endl;
      return 1;
    }
  }
  std::ostream& out = a.output.empty() ? std::cout : file;
  Exporter exporter(out, a.format, MakeFilter(a.filter));
  exporter.Begin(*info);
  Progress progress("exporting", info->Events());
  const bool failed = WalkDay(
      log, info,
      [&](const kiv::Collection& data) {
        progress.Clear();
        exporter.Page(data);
        progress.Update(data.ObjectAt<kiv::KivLogEvent>(data.Count())->Ordinal());
      },
      [&](int32_t ordinal, const kiv::ErrorRecord& r) {
        progress.Clear();
        exporter.Damaged(ordinal, r);
      });
  exporter.End();
  if (failed) return ReportError("export");
  if (!a.output.empty() && !Globals().json) {
    std::printf("exported %lld events of %s to %s\n", static_cast<long long>(exporter.written()),
                U8(info->FileName()).c_str(), a.output.c_str());
  }
  return exporter.AnyDamaged() ? kDamaged : 0;
}

}  // namespace

void AddExportCommand(CLI::App& app) {
  static ExportArgs a;
  auto* cmd =
      app.add_subcommand("export", "Export every event of a day's log as text, JSON or CSV");
  AddTargetOptions(*cmd, a.target);
  cmd->add_option("--format", a.format, "text, json or csv")
      ->check(CLI::IsMember({"text", "json", "csv"}))
      ->capture_default_str();
  cmd->add_option("-o,--output", a.output, "Write to this file instead of standard output");
  AddFilterOptions(*cmd, a.filter);
  cmd->callback([] { std::exit(Export(a)); });
}

}  // namespace kivlog
