// The whole kivlog command line in one CLI::App: what main() parses, and what the manual page and
// the bash completion are generated from (doc/kivlog_docs.cc), so that none of them can drift.
#pragma once

#include <CLI/CLI.hpp>
#include <span>

namespace kivlog {

// One line of a reference list of the manual and of --help: a name and what it means.
struct DocItem {
  const char* name;
  const char* text;
};

std::span<const DocItem> ExitCodes();
std::span<const DocItem> EnvironmentVariables();
std::span<const DocItem> Files();

// Fills app with every subcommand and option kivlog has.
void BuildApp(CLI::App& app);

}  // namespace kivlog
