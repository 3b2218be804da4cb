// kivlog: daily logs, event records and the database event log from the shell.
#include <CLI/CLI.hpp>

#include "app.h"
#include "console.h"

namespace {

// Exit code of a command line that cannot be run (unknown option, bad value).
constexpr int kUsage = 64;

}  // namespace

int main(int argc, char** argv) {
  kivlog::UseUtf8Console(argc, argv);
  CLI::App app;
  kivlog::BuildApp(app);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    const int rc = app.exit(e);
    return rc == 0 ? 0 : kUsage;
  }
  return 0;
}
