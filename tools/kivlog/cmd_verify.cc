// kivlog verify: reads every event of a day's log through the library and reports the damaged
// ones, so that a person can tell a sound log from one a crash or a disk fault has hurt.
#include <cstdio>
#include <iostream>
#include <vector>

#include "commands.h"
#include "daily.h"
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

struct Findings {
  int32_t events = 0;
  int32_t whole = 0;
  std::vector<Damage> damaged;
};

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
  return {{"log", U8(info.FileName())},
          {"events", f.events},
          {"whole", f.whole},
          {"sound", f.damaged.empty()},
          {"damaged", damaged}};
}

void PrintText(const kiv::KivLogInfo& info, const Findings& f) {
  const std::string name = U8(info.FileName());
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
              f.damaged.empty() ? "sound" : "DAMAGED");
}

struct VerifyArgs {
  LogTarget target;
  bool all = false;
};

int VerifyOne(const VerifyArgs& a) {
  kiv::KivLog log;
  auto info = std::make_shared<kiv::KivLogInfo>();
  info->FileName(TargetBase(log, a.target));
  // A read of no events opens the log and fetches its count, bounded by the whole records.
  if (log.EventLogRead(info, 1, 0)) return ReportError("verify");
  Findings f;
  if (Verify(log, info, f)) return ReportError("verify");
  if (JsonOutput()) {
    std::cout << ReportJson(*info, f).dump() << std::endl;
  } else {
    PrintText(*info, f);
  }
  return f.damaged.empty() ? 0 : kDamaged;
}

// Every log of a folder (of one application, with --app). A log that cannot be read at all is
// reported as damaged, with ordinal 0 and the error of the read.
int VerifyAll(const VerifyArgs& a) {
  kiv::KivLog log;
  auto logs = std::make_shared<kiv::Collection>();
  const kiv::String folder = a.target.path.empty() ? log.LogDefaultPath() : U16(a.target.path);
  if (log.EventLogList(logs, folder)) return ReportError("verify");
  nlohmann::json reports = nlohmann::json::array();
  bool any_damaged = false;
  for (int32_t i = 1; i <= logs->Count(); ++i) {
    auto info = logs->ObjectAt<kiv::KivLogInfo>(i);
    if (!a.target.app.empty() && U8(info->AppId()) != a.target.app) continue;
    Findings f;
    if (log.EventLogRead(info, 1, 0) || Verify(log, info, f)) {
      const kiv::ErrorRecord r = kiv::LastErrorRecord();
      f.damaged.push_back({0, r.Number, U8(r.Description)});
    }
    any_damaged = any_damaged || !f.damaged.empty();
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
      "verify", "Read every event of a day's log and report the damaged ones (exit code 2)");
  AddTargetOptions(*cmd, a.target);
  cmd->add_flag("--all", a.all, "Every log of the folder (of --app only, when given)")
      ->excludes(cmd->get_option("--file"))
      ->excludes(cmd->get_option("--day"));
  cmd->callback([] { std::exit(a.all ? VerifyAll(a) : VerifyOne(a)); });
}

}  // namespace kivlog
