// What the daily log subcommands share: choosing a log, reading dates, printing a page.
#pragma once

#include <CLI/CLI.hpp>
#include <memory>
#include <string>

#include "kivdbxt/kiv_log.h"

namespace kivlog {

// Which day's log a subcommand works on: --file names it directly, otherwise --app, --path and
// --day (today when not given) build its name.
struct LogTarget {
  std::string app;
  std::string path;
  std::string day;
  std::string file;
};

void AddTargetOptions(CLI::App& cmd, LogTarget& target);
// The log base name of the target. Raises CLI::ValidationError on a bad date.
kiv::String TargetBase(kiv::KivLog& log, const LogTarget& target);

// A date from the command line: ISO "YYYY-MM-DD[ hh:mm[:ss]]" or the locale's form.
kiv::Date ParseDateOption(const std::string& text, const char* option);

// Prints the events of a descriptor's LogData: text, or one JSON document.
void PrintPage(const kiv::KivLogInfo& info, int32_t start);
// Prints one event of a followed log (text, or one JSON line).
void PrintFollowed(const kiv::KivLogEvent& e);

void AddWriteCommand(CLI::App& app);
void AddShowCommands(CLI::App& app);  // show, tail
void AddListCommand(CLI::App& app);
void AddPurgeCommand(CLI::App& app);

}  // namespace kivlog
