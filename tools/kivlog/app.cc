// The kivlog command line: the global options, every family's subcommands, and the reference
// lists (exit codes, environment, files) shown by --help and by the manual page.
#include "app.h"

#include <algorithm>
#include <sstream>
#include <string>

#include "commands.h"
#include "event_writer.h"
#include "platform/locale.h"

namespace kivlog {
namespace {

constexpr DocItem kExitCodes[] = {
    {"0", "success"},
    {"1",
     "the library reported an error; the message gives its text, the system's reason when there "
     "is one, the error number and its source"},
    {"2", "damaged events were found (verify, export, and show or tail across days)"},
    {"64", "the command line is wrong: an unknown option, a bad value, an AppId refused"},
};

constexpr DocItem kEnvironment[] = {
    {"KIV_PROGRAMFILESDIR",
     "the folder that holds the default log folder Q&V/Log; when unset, XDG_DATA_HOME, then "
     "~/.local/share"},
    {"KIV_LOCALE",
     "date and number rule (it, en-US, iso) when --locale is not given; then "
     "LC_ALL, LC_TIME and LANG"},
    {"PAGER", "the pager for output to a terminal (default: less -FRX; cat: none)"},
    {"TMPDIR", "where temporary files go (database compaction)"},
};

constexpr DocItem kFiles[] = {
    {"Q&V/Log/APP_YYYYMMDD.ZLG", "the data file of application APP's log of a day: text records"},
    {"Q&V/Log/APP_YYYYMMDD.ZLI", "its index: one entry per event"},
    {"Q&V/Log/APP_YYYYMMDD.ZLI.bak", "the index as it was before verify --repair rebuilt it"},
    {"STORE.QVD, STORE.QVF, STORE.QVS",
     "a sector store: its directory, allocation table and sectors"},
};

// --help lists the exit codes as the manual does, one "name  text" line each; the environment and
// the files are left to the manual, to keep every subcommand's help short.
std::string HelpList(const char* title, std::span<const DocItem> items) {
  constexpr size_t kWidth = 92, kIndent = 6;
  std::string out = std::string("\n\n") + title + ":";
  for (const DocItem& item : items) {
    std::string line = "  " + std::string(item.name);
    line.resize(std::max(line.size() + 1, kIndent), ' ');
    std::istringstream words(item.text);
    for (std::string word; words >> word;) {
      if (line.size() > kIndent && line.size() + word.size() > kWidth) {
        out += "\n" + line.substr(0, line.size() - 1);
        line = std::string(kIndent, ' ');
      }
      line += word + " ";
    }
    out += "\n" + line.substr(0, line.size() - 1);
  }
  return out;
}

std::string Footer() {
  return R"(Options before or after the subcommand are the same: --json, -o,
--output-fields, --utc, --no-pager and --locale apply wherever they stand. On a terminal events
are coloured by type, unless NO_COLOR is set.

Dates for --since, --until and purge --before: "now", "today", "yesterday", "tomorrow",
"-1h", "-30min", "+2d", "-1w", "2024-03-05", "2024-03-05 14:00", or a time alone (today).)" +
         HelpList("Exit status", kExitCodes);
}

void AddGlobalOptions(CLI::App& app) {
  GlobalOptions& g = Globals();
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
              ParseFields({names});
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

std::span<const DocItem> ExitCodes() { return kExitCodes; }
std::span<const DocItem> EnvironmentVariables() { return kEnvironment; }
std::span<const DocItem> Files() { return kFiles; }

void BuildApp(CLI::App& app) {
  app.description("kivlog: write, read, filter and purge daily logs and database event logs");
  app.set_version_flag("--version", "kivlog 26.0 (kivdbxt type library 26.0)");
  app.require_subcommand(1);
  // Subcommands hand the options they do not know to the application, so that the global
  // options work after the subcommand too ("kivlog db show app.db --json").
  app.fallthrough();
  app.footer(Footer());
  AddGlobalOptions(app);
  app.parse_complete_callback([] {
    const std::string& loc = Globals().locale;
    if (!loc.empty()) kiv::SetLocale(kiv::LocaleFromName(loc));
  });
  AddEventCommands(app);
  AddDemoCommand(app);
  AddDailyLogCommands(app);
  AddDbCommands(app);
  AddSectorCommands(app);
}

}  // namespace kivlog
