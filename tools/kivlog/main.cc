// kivlog: daily logs, event records and the database event log from the shell.
#include <CLI/CLI.hpp>

#include "commands.h"
#include "event_writer.h"
#include "platform/locale.h"

namespace kivlog {

GlobalOptions& Globals() {
  static GlobalOptions options;
  return options;
}

const std::string& OutputFormat() {
  static const std::string json = "json";
  const GlobalOptions& g = Globals();
  return g.json && g.output == "short" ? json : g.output;
}

bool JsonOutput() {
  const std::string& f = OutputFormat();
  return f == "json" || f == "json-pretty";
}

}  // namespace kivlog

namespace {

// Exit code of a command line that cannot be run (unknown option, bad value).
constexpr int kUsage = 64;

const char kFooter[] = R"(Options before or after the subcommand are the same: --json, -o,
--output-fields, --utc, --no-pager and --locale apply wherever they stand. On a terminal events
are coloured by type, unless NO_COLOR is set.

Dates for --since, --until and purge --before: "now", "today", "yesterday", "tomorrow",
"-1h", "-30min", "+2d", "-1w", "2024-03-05", "2024-03-05 14:00", or a time alone (today).

Exit status:
  0   success
  1   the library reported an error; the message gives its text, the system's reason when
      there is one, the error number and its source
  2   damaged events were found (verify, export, and show or tail across days)
  64  the command line is wrong: an unknown option, a bad value, an AppId refused)";

void AddGlobalOptions(CLI::App& app) {
  kivlog::GlobalOptions& g = kivlog::Globals();
  app.add_flag("--json", g.json, "Machine-readable output: one JSON object per line (-o json)");
  app.add_option("-o,--output", g.output,
                 "Output format: short, short-iso, cat, json, json-pretty or csv")
      ->check(CLI::IsMember({"short", "short-iso", "cat", "json", "json-pretty", "csv"}));
  app.add_option("--output-fields", g.output_fields,
                 "The fields JSON and CSV print, comma-separated (log, ordinal, offset, unk, date, "
                 "source, type, category, id, user, computer, server, datatype, rawdata)")
      ->check(CLI::Validator(
          [](const std::string& names) {
            try {
              kivlog::ParseFields({names});
            } catch (const CLI::ValidationError& e) {
              return std::string(e.what());
            }
            return std::string();
          },
          "FIELDS"));
  app.add_flag("--utc", g.utc, "Dates in UTC instead of local time");
  app.add_flag("--no-pager", g.no_pager, "Never send output through a pager");
  app.add_option("--locale", g.locale, "Date and number rule: it, en-US or iso")
      ->check(CLI::IsMember({"it", "en-US", "iso"}));
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"kivlog: write, read, filter and purge daily logs and database event logs"};
  app.set_version_flag("--version", "kivlog 26.0 (kivdbxt type library 26.0)");
  app.require_subcommand(1);
  // Subcommands hand the options they do not know to the application, so that the global
  // options work after the subcommand too ("kivlog db show app.db --json").
  app.fallthrough();
  app.footer(kFooter);
  AddGlobalOptions(app);
  app.parse_complete_callback([] {
    const std::string& loc = kivlog::Globals().locale;
    if (!loc.empty()) kiv::SetLocale(kiv::LocaleFromName(loc));
  });
  kivlog::AddEventCommands(app);
  kivlog::AddDemoCommand(app);
  kivlog::AddDailyLogCommands(app);
  kivlog::AddDbCommands(app);
  kivlog::AddSectorCommands(app);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    const int rc = app.exit(e);
    return rc == 0 ? 0 : kUsage;
  }
  return 0;
}
