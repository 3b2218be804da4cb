// The kivlog subcommands: each family adds its own to the application.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace kivlog {

// Options every subcommand shares; they are accepted anywhere on the command line.
struct GlobalOptions {
  bool json = false;             // --json: the same as -o json
  std::string output = "short";  // -o: short, short-iso, cat, json, json-pretty or csv
  bool utc = false;              // --utc: dates in UTC instead of local time
  bool no_pager = false;         // --no-pager
  std::string locale;
  std::vector<std::string> output_fields;  // --output-fields: the JSON and CSV fields to print
};

GlobalOptions& Globals();
// The output format in force: -o, or json for --json.
const std::string& OutputFormat();
// True for the JSON formats, where every message to standard output is a JSON object.
bool JsonOutput();

void AddEventCommands(CLI::App& app);  // event: one record's text form round trip
void AddDemoCommand(CLI::App& app);    // demo: the main job of the README
// write, show, tail, list, purge, export, verify: the daily logs (.ZLG/.ZLI) of an application.
void AddDailyLogCommands(CLI::App& app);
// db: the database event log (create, report, show, purge, compact, settings, watch).
void AddDbCommands(CLI::App& app);
// sector: a sector store (create, put, get, rm, ls, info, compact, verify).
void AddSectorCommands(CLI::App& app);

}  // namespace kivlog
