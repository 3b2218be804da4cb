// The kivlog subcommands: each family adds its own to the application.
#pragma once

#include <CLI/CLI.hpp>

namespace kivlog {

// Options every subcommand shares.
struct GlobalOptions {
  bool json = false;
  std::string locale;
};

GlobalOptions& Globals();

void AddEventCommands(CLI::App& app);  // event: one record's text form round trip
void AddDemoCommand(CLI::App& app);    // demo: the main job of the README
// write, show, tail, list, purge, export, verify: the daily logs (.ZLG/.ZLI) of an application.
void AddDailyLogCommands(CLI::App& app);
// db: the database event log (create, report, show, purge, compact, settings, watch).
void AddDbCommands(CLI::App& app);
// sector: a sector store (create, put, get, rm, ls, info, compact, verify).
void AddSectorCommands(CLI::App& app);

}  // namespace kivlog
