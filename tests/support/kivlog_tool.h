// Running the kivlog tool as a user runs it, for the tests of its subcommands.
#pragma once

#include <sys/wait.h>

#include <cstdio>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace kivtest {

// The kivlog built beside this test program (tools/kivlog in the build tree).
inline std::string KivlogPath() {
  const std::filesystem::path exe = std::filesystem::read_symlink("/proc/self/exe");
  return (exe.parent_path().parent_path() / "tools/kivlog/kivlog").string();
}

// Runs a shell command line; returns its standard output, and its exit status in `rc`.
inline std::string RunShell(const std::string& cmd, int* rc = nullptr) {
  FILE* p = ::popen(cmd.c_str(), "r");
  std::string out;
  char buf[4096];
  for (size_t n; (n = std::fread(buf, 1, sizeof buf, p)) > 0;) out.append(buf, n);
  const int status = ::pclose(p);
  if (rc) *rc = WEXITSTATUS(status);
  return out;
}

// The JSON objects of a JSON-lines text, one per whole line that is not empty (a line still
// being written when the text was taken is left out).
inline std::vector<nlohmann::json> JsonLines(const std::string& text) {
  std::vector<nlohmann::json> out;
  size_t start = 0;
  for (size_t end; (end = text.find('\n', start)) != std::string::npos; start = end + 1) {
    if (end > start) out.push_back(nlohmann::json::parse(text.substr(start, end - start)));
  }
  return out;
}

}  // namespace kivtest
