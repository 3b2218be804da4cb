// kivlog list: the daily logs of a folder, with their event counts and sizes.
#include <cstdio>
#include <iostream>

#include "commands.h"
#include "daily.h"
#include "output.h"
#include "pager.h"
#include "platform/fs.h"

namespace kivlog {
namespace {

struct ListArgs {
  std::string path, app;
};

int64_t SizeOr0(const kiv::String& path) {
  return kiv::FileExists(path) ? kiv::FileLength(path) : 0;
}

int List(const ListArgs& a) {
  StartPager();
  kiv::KivLog log;
  auto logs = std::make_shared<kiv::Collection>();
  const kiv::String folder = a.path.empty() ? log.LogDefaultPath() : U16(a.path);
  if (log.EventLogList(logs, folder)) return ReportError("list");
  Progress progress("reading", logs->Count());
  int64_t total = 0;
  int shown = 0;
  nlohmann::json items = nlohmann::json::array();
  if (!JsonOutput())
    std::printf("%-24s %-10s %9s %12s %10s\n", "APP", "DAY", "EVENTS", "DATA", "INDEX");
  for (int32_t i = 1; i <= logs->Count(); ++i) {
    auto info = logs->ObjectAt<kiv::KivLogInfo>(i);
    if (!a.app.empty() && U8(info->AppId()) != a.app) continue;
    progress.Update(i);
    // A read of no events opens the log and fetches its count.
    bool unreadable = log.EventLogRead(info, 1, 0);
    int64_t data = SizeOr0(info->FileName() + log.EXTLOGDATA());
    int64_t index = SizeOr0(info->FileName() + log.EXTLOGINDEX());
    total += data + index;
    ++shown;
    if (JsonOutput()) {
      items.push_back({{"app", U8(info->AppId())},
                       {"day", U8(info->Day())},
                       {"log", U8(info->FileName())},
                       {"events", info->Events()},
                       {"data_bytes", data},
                       {"index_bytes", index},
                       {"readable", !unreadable}});
    } else {
      progress.Clear();
      std::printf("%-24s %-10s %9d %12lld %10lld%s\n", U8(info->AppId()).c_str(),
                  U8(info->Day()).c_str(), info->Events(), static_cast<long long>(data),
                  static_cast<long long>(index), unreadable ? "  (cannot be read)" : "");
    }
  }
  if (JsonOutput()) {
    std::cout
        << nlohmann::json{{"folder", U8(folder)}, {"logs", items}, {"total_bytes", total}}.dump()
        << std::endl;
  } else {
    progress.Clear();
    std::printf("%d log%s, %lld bytes in all\n", shown, shown == 1 ? "" : "s",
                static_cast<long long>(total));
  }
  return 0;
}

}  // namespace

void AddListCommand(CLI::App& app) {
  static ListArgs a;
  auto* cmd = app.add_subcommand("list", "List the daily logs of a folder");
  cmd->add_option("--path", a.path, "Log folder (default: the default log folder)");
  cmd->add_option("--app", a.app, "Only the logs of this application")
      ->check(CLI::Validator(CheckAppId, "APPID", "AppId"));
  cmd->callback([] { std::exit(List(a)); });
}

}  // namespace kivlog
