// The manual page and the bash completion generated at build time against kivlog's own --help:
// every command of the tool, every option of each, and the subcommands the completion offers.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "support/kivlog_tool.h"

namespace {

using Names = std::set<std::string>;

// A generated file at the top of the build folder (this program is in its tests/).
std::string DocFile(const char* name) {
  const std::filesystem::path exe = std::filesystem::read_symlink("/proc/self/exe");
  return (exe.parent_path().parent_path() / name).string();
}

// What `kivlog PATH --help` lists: the options (every spelling) and the subcommands.
struct Help {
  Names options;
  std::vector<std::string> subcommands;
};

Help HelpOf(const std::string& path) {
  Help help;
  std::istringstream in(kivtest::RunShell(kivtest::KivlogPath() + path + " --help"));
  std::string section;
  for (std::string line; std::getline(in, line);) {
    if (line.empty() || line[0] != ' ') {
      section = line;
    } else if (section == "Options:" && line.rfind("  -", 0) == 0) {
      std::string names = line.substr(2, line.find(' ', 2) - 2);
      for (size_t start = 0, end; start < names.size(); start = end + 1) {
        end = names.find(',', start);
        if (end == std::string::npos) end = names.size();
        help.options.insert(names.substr(start, end - start));
      }
    } else if (section == "Subcommands:" && line.rfind("   ", 0) != 0) {
      help.subcommands.push_back(line.substr(2, line.find(' ', 2) - 2));
    }
  }
  return help;
}

// Every command path below kivlog (" db", " db show", ...), from the help alone.
void Commands(const std::string& path, std::vector<std::string>& out) {
  out.push_back(path);
  for (const std::string& sub : HelpOf(path).subcommands) Commands(path + " " + sub, out);
}

std::string Unroff(std::string s) {
  for (const char* code : {"\\fB", "\\fR", "\\fI", "\""}) {
    for (size_t at; (at = s.find(code)) != std::string::npos;)
      s.erase(at, std::string(code).size());
  }
  for (size_t at; (at = s.find("\\-")) != std::string::npos;) s.erase(at, 1);
  return s;
}

// The option names of each command in the manual page: OPTIONS for kivlog's own, a subsection
// "kivlog db show" for each command.
std::map<std::string, Names> ManOptions(std::map<std::string, std::string>* sections) {
  std::ifstream in(DocFile("kivlog.1"));
  std::map<std::string, Names> out;
  std::string path, section, line;
  bool term = false;
  while (std::getline(in, line)) {
    if (line.rfind(".SH ", 0) == 0) {
      section = line.substr(4);
      path = section == "OPTIONS" ? "kivlog" : "";
      if (sections) (*sections)[section];
    } else if (line.rfind(".SS ", 0) == 0) {
      path = Unroff(line.substr(4));
    } else if (term && !path.empty() && line.rfind("\\fB\\-", 0) == 0) {
      std::istringstream words(Unroff(line.substr(0, line.find(" \\fI"))));
      for (std::string w; std::getline(words >> std::ws, w, ',');) out[path].insert(w);
    } else if (term && sections && !section.empty()) {
      (*sections)[section] += Unroff(line) + "\n";
    }
    term = line == ".TP";
  }
  return out;
}

TEST(KivlogDocs, ManPageHasEveryCommandWithTheParsersOptions) {
  std::vector<std::string> commands;
  Commands("", commands);
  ASSERT_GT(commands.size(), 20u);  // the families and their subcommands
  std::map<std::string, std::string> sections;
  const std::map<std::string, Names> man = ManOptions(&sections);
  for (const std::string& path : commands) {
    const Names from_help = HelpOf(path).options;
    ASSERT_FALSE(from_help.empty()) << path;
    auto it = man.find("kivlog" + path);
    ASSERT_NE(it, man.end()) << "kivlog" << path << " has no section in kivlog.1";
    EXPECT_EQ(it->second, from_help) << "kivlog" << path;
  }
  EXPECT_EQ(man.size(), commands.size());
  // The exit codes, the environment and the files have sections of their own.
  for (const char* code : {"0\n", "1\n", "2\n", "64\n"})
    EXPECT_NE(sections["EXIT STATUS"].find(code), std::string::npos) << code;
  for (const char* name : {"KIV_PROGRAMFILESDIR", "KIV_LOCALE", "PAGER"})
    EXPECT_NE(sections["ENVIRONMENT"].find(name), std::string::npos) << name;
  EXPECT_NE(sections["FILES"].find(".ZLI"), std::string::npos);
}

// What the completion offers for a command line whose last word is being typed.
std::vector<std::string> Complete(const std::vector<std::string>& words) {
  std::string cmd =
      "bash -c 'source \"$0\"; COMP_WORDS=(\"$@\"); COMP_CWORD=$(($# - 1)); _kivlog; "
      "printf \"%s\\n\" \"${COMPREPLY[@]}\"' " +
      DocFile("kivlog.bash-completion");
  for (const std::string& w : words) cmd += " '" + w + "'";
  std::istringstream in(kivtest::RunShell(cmd));
  std::vector<std::string> out;
  for (std::string line; std::getline(in, line);) {
    if (!line.empty()) out.push_back(line);
  }
  return out;
}

TEST(KivlogDocs, CompletionOffersEachCommandsSubcommandsAndOptions) {
  std::vector<std::string> commands;
  Commands("", commands);
  for (const std::string& path : commands) {
    std::vector<std::string> words = {"kivlog"};
    std::istringstream in(path);
    for (std::string w; in >> w;) words.push_back(w);
    const Help help = HelpOf(path);
    if (!help.subcommands.empty()) {
      words.push_back("");
      EXPECT_EQ(Complete(words), help.subcommands) << "kivlog" << path;
      words.back() = "--";
    } else {
      words.push_back("--");
    }
    const std::vector<std::string> offered = Complete(words);
    for (const std::string& name : help.options) {
      if (name.rfind("--", 0) != 0) continue;
      EXPECT_NE(std::find(offered.begin(), offered.end(), name), offered.end())
          << "kivlog" << path << " " << name;
    }
  }
  // The global options after a subcommand, and the values an option allows.
  EXPECT_EQ(Complete({"kivlog", "--json", "sec"}), std::vector<std::string>{"sector"});
  EXPECT_EQ(Complete({"kivlog", "sector", "ls", "--lo"}), std::vector<std::string>{"--locale"});
  EXPECT_EQ(Complete({"kivlog", "show", "-o", "json"}),
            (std::vector<std::string>{"json", "json-pretty"}));
}

}  // namespace
