// The fixture of the kivlog tests: a test folder as the program-files folder, the tool run as a
// user runs it.
#pragma once

#include <fstream>
#include <string>

#include "dailylog_support.h"
#include "support/kivlog_tool.h"

namespace kiv::testing {

class KivlogCliTest : public DailyLogTest {
 protected:
  void SetUp() override {
    DailyLogTest::SetUp();
    SetClock({});  // the tool runs in its own process, on the real clock
    if (!std::filesystem::exists(tool_)) GTEST_SKIP() << "kivlog not built";
  }

  // Runs kivlog with the test folder as the program-files folder; returns its standard output
  // (and standard error, with `err`).
  std::string Run(const std::string& args, const std::string& input = "", int* rc = nullptr,
                  bool err = false) {
    return kivtest::RunShell("printf '" + input + "' | KIV_PROGRAMFILESDIR='" + ToUtf8(folder) +
                                 "' " + env + tool_ + " " + args + (err ? " 2>&1" : " 2>/dev/null"),
                             rc);
  }

  // The JSON object a run prints; its exit status is checked.
  nlohmann::json Json(const std::string& args, int expected_status) {
    int rc = -1;
    const std::string out = Run(args, "", &rc);
    EXPECT_EQ(rc, expected_status) << args;
    return nlohmann::json::parse(out);
  }

  // The exit status of a run whose output does not matter.
  int Status(const std::string& args, const std::string& input = "") {
    int rc = -1;
    Run(args, input, &rc);
    return rc;
  }

  // Runs a command line under a terminal, which script(1) gives (HasTerminal: it is installed);
  // returns what it printed, and its exit status in `rc`.
  std::string UnderTerminal(const std::string& command, int* rc = nullptr) {
    const std::string script = ToUtf8(folder) + "/run.sh";
    std::ofstream(script) << command << "\n";
    return kivtest::RunShell("script -qec 'sh " + script + "' /dev/null", rc);
  }
  static bool HasTerminal() { return ::system("command -v script >/dev/null 2>&1") == 0; }

  std::string env;  // more of the tool's environment, "NAME=value " each
  const std::string tool_ = kivtest::KivlogPath();
};

}  // namespace kiv::testing
