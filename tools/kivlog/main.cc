// kivlog: daily logs, event records and the database event log from the shell.
#include <CLI/CLI.hpp>

#include "commands.h"
#include "platform/locale.h"

namespace kivlog {

GlobalOptions& Globals() {
  static GlobalOptions options;
  return options;
}

}  // namespace kivlog

int main(int argc, char** argv) {
  CLI::App app{"kivlog: write, read, filter and purge daily logs and database event logs"};
  app.set_version_flag("--version", "kivlog 26.0 (kivdbxt type library 26.0)");
  app.require_subcommand(1);
  app.add_flag("--json", kivlog::Globals().json, "Machine-readable JSON output");
  app.add_option("--locale", kivlog::Globals().locale, "Date and number rule: it, en-US or iso")
      ->check(CLI::IsMember({"it", "en-US", "iso"}));
  app.parse_complete_callback([] {
    const std::string& loc = kivlog::Globals().locale;
    if (!loc.empty()) kiv::SetLocale(kiv::LocaleFromName(loc));
  });
  kivlog::AddEventCommands(app);
  kivlog::AddDemoCommand(app);
  kivlog::AddDailyLogCommands(app);
  kivlog::AddDbCommands(app);
  kivlog::AddSectorCommands(app);
  CLI11_PARSE(app, argc, argv);
  return 0;
}
