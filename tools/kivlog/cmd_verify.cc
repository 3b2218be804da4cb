// kivlog verify: checks a day's two files against each other, reads every event of the day
// through the library and reports the damaged ones, so that a person can tell a sound log from
// one a crash or a disk fault has hurt. --repair copies both files aside, then rebuilds the index
// from every record that reads.
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <optional>
#include <vector>

#include "commands.h"
#include "daily.h"
#include "dailylog/log_repair.h"
#include "kivdbxt/error.h"
#include "output.h"

namespace kivlog {
namespace {

// Exit codes: 0 sound, 1 the log cannot be opened, 2 damaged events found.
constexpr int kDamaged = 2;

struct Damage {
  int32_t ordinal;
  int32_t number;
  std::string description;
};

// A state of the two files that the next write, or --repair, puts right; `count` says how many
// records it concerns (0 when that says nothing).
struct State {
  std::string name;
  int32_t count;
  std::string detail;
};

struct Findings {
  int32_t events = 0;
  int32_t whole = 0;
  std::vector<State> states;
  std::vector<Damage> damaged;
  std::optional<kiv::LogRepair> repair;  // what --repair did before this look
  bool Sound() const { return states.empty() && damaged.empty(); }
};

constexpr char kNotRegular[] = "not a regular file";
constexpr char kIndexBehind[] = "index behind the data file";
constexpr char kInterrupted[] = "interrupted append";
constexpr char kUnreachable[] = "records not reachable from the index";

// Either file of the log that is there but is not a regular file (a symlink, a FIFO, a device,
// a folder): the library refuses to open it.
bool CheckFileKinds(const kiv::String& base, Findings& f) {
  for (const char* ext : {".ZLG", ".ZLI"}) {
    std::error_code ec;
    const std::string path = U8(base) + ext;
    const auto status = std::filesystem::symlink_status(path, ec);
    if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status)) {
      f.states.push_back({kNotRegular, 0, path});
    }
  }
  return !f.states.empty();
}

bool IndexMissing(const kiv::String& base) {
  std::error_code ec;
  return std::filesystem::exists(U8(base) + ".ZLG", ec) &&
         !std::filesystem::exists(std::filesystem::symlink_status(U8(base) + ".ZLI", ec));
}

// A write stopped part way is one state, however many records it concerns: what it left, and
// what puts it right.
std::string InterruptedDetail(const kiv::LogHealth& h) {
  std::string left;
  auto add = [&left](const std::string& part) { left += (left.empty() ? "" : ", ") + part; };
  if (h.not_written > 0) add("entries of records never written: " + std::to_string(h.not_written));
  if (h.behind > 0) add("whole records after the last entry's: " + std::to_string(h.behind));
  if (h.cut_bytes > 0)
    add("bytes of a record cut short at the end: " + std::to_string(h.cut_bytes));
  return "a write was stopped part way: " + left +
         "; the next write takes the whole records in, --repair cuts the rest";
}

void AddStates(const kiv::LogHealth& h, Findings& f) {
  if (h.not_written > 0 || h.cut_bytes > 0) {
    f.states.push_back(
        {kInterrupted, h.not_written + h.behind + (h.cut_bytes > 0 ? 1 : 0), InterruptedDetail(h)});
  } else if (h.behind > 0) {
    f.states.push_back({kIndexBehind, h.behind,
                        std::to_string(h.behind) + " whole records after the last entry's"});
  }
  const int32_t elsewhere = h.unreachable - h.behind;
  if (elsewhere > 0) {
    f.states.push_back(
        {kUnreachable, elsewhere, std::to_string(elsewhere) + " whole records no entry points at"});
  }
}

// Records an event whose record does not start after the one before it: two entries sharing or
// crossing a record mean the index is out of step with the data file.
void CheckOrder(const kiv::KivLogEvent& e, int32_t& last_offset, Findings& f) {
  if (e.Offset() <= last_offset) {
    f.damaged.push_back({e.Ordinal(), 0,
                         "record at " + std::to_string(e.Offset()) +
                             " does not follow the previous one at " +
                             std::to_string(last_offset)});
  }
  last_offset = e.Offset();
}

// Reads every event of the day; a damaged one is noted and the walk goes on with the next, so
// that every damaged event of the day is found. Returns True when the log cannot be read.
bool Verify(kiv::KivLog& log, const std::shared_ptr<kiv::KivLogInfo>& info, Findings& f) {
  f.events = info->Events();
  Progress progress("verifying", f.events);
  int32_t last_offset = 0;
  return WalkDay(
      log, info,
      [&](const kiv::Collection& data) {
        for (int32_t i = 1; i <= data.Count(); ++i) {
          CheckOrder(*data.ObjectAt<kiv::KivLogEvent>(i), last_offset, f);
        }
        f.whole += data.Count();
        progress.Update(data.ObjectAt<kiv::KivLogEvent>(data.Count())->Ordinal());
      },
      [&](int32_t ordinal, const kiv::ErrorRecord& r) {
        f.damaged.push_back({ordinal, r.Number, U8(r.Description)});
      });
}

nlohmann::json ReportJson(const kiv::KivLogInfo& info, const Findings& f) {
  nlohmann::json damaged = nlohmann::json::array();
  for (const Damage& d : f.damaged) {
    damaged.push_back(
        {{"ordinal", d.ordinal}, {"number", d.number}, {"description", d.description}});
  }
  nlohmann::json states = nlohmann::json::array();
  for (const State& s : f.states) {
    states.push_back({{"state", s.name}, {"records", s.count}, {"detail", s.detail}});
  }
  nlohmann::json report = {{"log", U8(info.FileName())}, {"events", f.events},
                           {"whole", f.whole},           {"sound", f.Sound()},
                           {"states", states},           {"damaged", damaged}};
  if (f.repair) {
    report["repair"] = {{"data_backup", U8(f.repair->data_backup)},
                        {"index_backup", U8(f.repair->index_backup)},
                        {"events_before", f.repair->before},
                        {"events_after", f.repair->after},
                        {"cut_bytes", f.repair->cut_bytes}};
  }
  return report;
}

void PrintText(const kiv::KivLogInfo& info, const Findings& f) {
  const std::string name = U8(info.FileName());
  if (const auto& r = f.repair) {
    std::printf(
        "%s: repaired: old files kept as %s and %s; index rebuilt from every record that "
        "reads: %d events (%d before)",
        name.c_str(), U8(r->data_backup).c_str(), U8(r->index_backup).c_str(), r->after, r->before);
    if (r->cut_bytes > 0) {
      std::printf("; %lld bytes of a record cut short removed from the end of the data file",
                  static_cast<long long>(r->cut_bytes));
    }
    std::printf("\n");
  }
  for (const State& s : f.states) {
    std::printf("%s: %s: %s\n", name.c_str(), s.name.c_str(), s.detail.c_str());
  }
  for (const Damage& d : f.damaged) {
    if (d.ordinal == 0) {
      std::printf("%s: cannot be read: %s", name.c_str(), d.description.c_str());
    } else {
      std::printf("%s: event %d: %s", name.c_str(), d.ordinal, d.description.c_str());
    }
    if (d.number != 0) std::printf(" (error %d)", d.number);
    std::printf("\n");
  }
  std::printf("%s: %d events, %d read whole, %s\n", name.c_str(), f.events, f.whole,
              f.Sound() ? "sound" : "DAMAGED");
}

struct VerifyArgs {
  LogTarget target;
  bool all = false;
  bool repair = false;
};

// Checks the files against each other, then reads every event. Returns True (error recorded)
// when the log cannot be read at all.
bool Examine(kiv::KivLog& log, const std::shared_ptr<kiv::KivLogInfo>& info, Findings& f) {
  if (CheckFileKinds(info->FileName(), f)) return false;
  if (IndexMissing(info->FileName())) {
    f.states.push_back({kIndexBehind, 0, "the index file is missing"});
    return false;
  }
  kiv::LogHealth health;
  if (kiv::CheckLog(*info, health)) return true;
  AddStates(health, f);
  // A read of no events opens the log and fetches its count, bounded by the whole records.
  return log.EventLogRead(info, 1, 0) || Verify(log, info, f);
}

void Report(const kiv::KivLogInfo& info, const Findings& f) {
  if (JsonOutput()) {
    std::cout << ReportJson(info, f).dump() << std::endl;
  } else {
    PrintText(info, f);
  }
}

// Rebuilds the index of a log whose files are out of step, then examines it again; the report
// says what the repair did.
int Repair(kiv::KivLog& log, const std::shared_ptr<kiv::KivLogInfo>& info, Findings& f) {
  kiv::LogRepair repair;
  if (kiv::RebuildLogIndex(*info, repair)) return ReportError("verify");
  f = Findings{};
  f.repair = repair;
  if (Examine(log, info, f)) return ReportError("verify");
  return -1;
}

int VerifyOne(const VerifyArgs& a) {
  kiv::KivLog log;
  auto info = std::make_shared<kiv::KivLogInfo>();
  info->FileName(TargetBase(log, a.target));
  Findings f;
  if (Examine(log, info, f)) return ReportError("verify");
  const bool not_regular = !f.states.empty() && f.states.front().name == kNotRegular;
  if (a.repair && !f.Sound() && !not_regular) {
    if (int rc = Repair(log, info, f); rc >= 0) return rc;
  }
  Report(*info, f);
  return f.Sound() ? 0 : kDamaged;
}

// Every log of a folder (of one application, with --app). A log that cannot be read at all is
// reported as damaged, with ordinal 0 and the error of the read.
int VerifyAll(const VerifyArgs& a) {
  kiv::KivLog log;
  auto logs = std::make_shared<kiv::Collection>();
  const kiv::String folder = a.target.path.empty() ? log.LogDefaultPath() : U16(a.target.path);
  std::error_code ec;
  if (!std::filesystem::is_directory(U8(folder), ec)) {
    std::fprintf(stderr, "verify: no such folder: %s\n", U8(folder).c_str());
    return 1;
  }
  if (log.EventLogList(logs, folder)) return ReportError("verify");
  nlohmann::json reports = nlohmann::json::array();
  bool any_damaged = false;
  for (int32_t i = 1; i <= logs->Count(); ++i) {
    auto info = logs->ObjectAt<kiv::KivLogInfo>(i);
    if (!a.target.app.empty() && U8(info->AppId()) != a.target.app) continue;
    Findings f;
    if (Examine(log, info, f)) {
      const kiv::ErrorRecord r = kiv::LastErrorRecord();
      f.damaged.push_back({0, r.Number, U8(r.Description)});
    }
    any_damaged = any_damaged || !f.Sound();
    if (JsonOutput()) {
      reports.push_back(ReportJson(*info, f));
    } else {
      PrintText(*info, f);
    }
  }
  if (JsonOutput()) {
    std::cout << nlohmann::json{{"folder", U8(folder)}, {"logs", reports}}.dump() << std::endl;
  }
  return any_damaged ? kDamaged : 0;
}

}  // namespace

void AddVerifyCommand(CLI::App& app) {
  static VerifyArgs a;
  auto* cmd = app.add_subcommand(
      "verify",
      "Check a day's two files against each other and read every event; report each state by "
      "name (interrupted append, index behind the data file, records not reachable from the "
      "index, not a regular file) and each damaged event (exit code 2)");
  AddTargetOptions(*cmd, a.target);
  cmd->add_flag("--repair", a.repair,
                "Copy both files aside (.ZLG.bak, .ZLI.bak), rebuild the index from every record "
                "that reads, cut off a record cut short at the end; say what was done and verify "
                "again");
  cmd->add_flag("--all", a.all, "Every log of the folder (of --app only, when given)")
      ->excludes(cmd->get_option("--file"))
      ->excludes(cmd->get_option("--day"));
  cmd->callback([] { std::exit(a.all ? VerifyAll(a) : VerifyOne(a)); });
}

}  // namespace kivlog
