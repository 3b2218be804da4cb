// kivlog demo: the README's main job, a short tour of the library on the default log folder.
#include <cstdio>

#include "commands.h"
#include "kivdbxt/class_table.h"
#include "kivdbxt/kiv_log_event.h"
#include "output.h"

namespace kivlog {
namespace {

int Demo() {
  std::printf("kivdbxt type library %s %d.%d\n", U8(kiv::TypeLibrary().Id).c_str(),
              kiv::TypeLibrary().MajorVersion, kiv::TypeLibrary().MinorVersion);
  for (const kiv::ClassInfo& c : kiv::ClassTable()) {
    auto obj = kiv::CreateObject(c.ProgId);
    std::printf("  %-13s %s %s\n", U8(c.Name).c_str(), U8(c.Clsid).c_str(),
                obj ? "available" : "not in this build");
  }
  return 0;
}

}  // namespace

void AddDemoCommand(CLI::App& app) {
  auto* cmd = app.add_subcommand("demo", "Show the library at work on the default log folder");
  cmd->callback([] { std::exit(Demo()); });
}

}  // namespace kivlog
