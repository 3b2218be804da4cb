#include "daily.h"

#include <cstdio>
#include <iostream>

#include "commands.h"
#include "output.h"
#include "platform/date.h"

namespace kivlog {

void AddDailyLogCommands(CLI::App& app) {
  AddWriteCommand(app);
  AddShowCommands(app);
  AddListCommand(app);
  AddPurgeCommand(app);
}

void AddTargetOptions(CLI::App& cmd, LogTarget& target) {
  auto* app = cmd.add_option("--app", target.app, "Application identifier (AppId)");
  cmd.add_option("--path", target.path, "Log folder (default: the default log folder)");
  cmd.add_option("--day", target.day, "Day of the log, YYYY-MM-DD (default: today)");
  auto* file = cmd.add_option("--file", target.file,
                              "Log base name or file (.ZLG/.ZLI) instead of --app and --day");
  file->excludes(app);
}

kiv::Date ParseDateOption(const std::string& text, const char* option) {
  kiv::Date d = 0;
  if (!kiv::ParseDate(U16(text), d)) {
    throw CLI::ValidationError(option, "not a date: " + text);
  }
  return d;
}

kiv::String TargetBase(kiv::KivLog& log, const LogTarget& target) {
  if (!target.file.empty()) {
    kiv::String base = U16(target.file);
    for (const char16_t* ext : {u".ZLG", u".ZLI", u".zlg", u".zli"}) {
      kiv::String e(ext);
      if (base.size() > e.size() && base.compare(base.size() - e.size(), e.size(), e) == 0) {
        base.resize(base.size() - e.size());
      }
    }
    return base;
  }
  if (target.app.empty()) throw CLI::ValidationError("--app", "give --app or --file");
  kiv::Date day = target.day.empty() ? 0 : ParseDateOption(target.day, "--day");
  return log.LogFileName(U16(target.app), U16(target.path), day);
}

void PrintPage(const kiv::KivLogInfo& info, int32_t start) {
  const kiv::Collection& data = *info.LogData();
  if (Globals().json) {
    nlohmann::json items = nlohmann::json::array();
    for (int32_t i = 1; i <= data.Count(); ++i)
      items.push_back(EventJson(*data.ObjectAt<kiv::KivLogEvent>(i)));
    nlohmann::json doc = {{"log", U8(info.FileName())},
                          {"events", info.Events()},
                          {"start", start},
                          {"items", items}};
    std::cout << doc.dump() << std::endl;
    return;
  }
  for (int32_t i = 1; i <= data.Count(); ++i) PrintEventText(*data.ObjectAt<kiv::KivLogEvent>(i));
  if (data.Count() == 0) {
    std::printf("%s: no events to show (%d in the log)\n", U8(info.FileName()).c_str(),
                info.Events());
  } else {
    std::printf("-- %s: events %d..%d shown, %d in the log\n", U8(info.FileName()).c_str(),
                data.ObjectAt<kiv::KivLogEvent>(1)->Ordinal(),
                data.ObjectAt<kiv::KivLogEvent>(data.Count())->Ordinal(), info.Events());
  }
}

void PrintFollowed(const kiv::KivLogEvent& e) {
  if (Globals().json) {
    std::cout << EventJson(e).dump() << std::endl;
  } else {
    PrintEventText(e);
    std::fflush(stdout);
  }
}

}  // namespace kivlog
