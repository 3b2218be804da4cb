// kivlog.exe as a Windows user runs it: arguments beyond the ANSI code page, names with
// backslashes, text output and export files with CR LF line ends (CSV's included, not doubled).
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "kivdbxt/types.h"
#include "support/temp_dir.h"

// Last: its macros would rename the library's own constants.
#include <windows.h>

namespace {

using kivtest::TempDir;

// kivlog.exe, which the build puts beside the test programs.
std::wstring KivlogExe() {
  wchar_t self[MAX_PATH];
  const DWORD n = GetModuleFileNameW(nullptr, self, MAX_PATH);
  std::wstring path(self, n);
  return path.substr(0, path.find_last_of(L'\\') + 1) + L"kivlog.exe";
}

struct Ran {
  DWORD status = 0;
  std::string out;  // standard output, byte for byte
};

// Runs kivlog with UTF-8 arguments, each passed as one (none holds a quote).
Ran Kivlog(const std::vector<std::string>& args) {
  std::wstring command = L"\"" + KivlogExe() + L"\"";
  for (const std::string& a : args) {
    const kiv::String wide = kiv::FromUtf8(a);
    command += L" \"" + std::wstring(wide.begin(), wide.end()) + L"\"";
  }
  SECURITY_ATTRIBUTES inherit{sizeof inherit, nullptr, TRUE};
  HANDLE read = nullptr, write = nullptr;
  Ran run;
  if (!CreatePipe(&read, &write, &inherit, 0)) return run;
  SetHandleInformation(read, HANDLE_FLAG_INHERIT, 0);
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdOutput = write;
  startup.hStdError = GetStdHandle(STD_ERROR_HANDLE);
  PROCESS_INFORMATION process{};
  const bool started = CreateProcessW(nullptr, command.data(), nullptr, nullptr, TRUE, 0, nullptr,
                                      nullptr, &startup, &process);
  CloseHandle(write);
  char buffer[4096];
  for (DWORD got; started && ReadFile(read, buffer, sizeof buffer, &got, nullptr) && got > 0;) {
    run.out.append(buffer, got);
  }
  CloseHandle(read);
  if (!started) return Ran{~0u, {}};
  WaitForSingleObject(process.hProcess, 60000);
  GetExitCodeProcess(process.hProcess, &run.status);
  CloseHandle(process.hProcess);
  CloseHandle(process.hThread);
  return run;
}

// Whether every line of the text ends in exactly one CR LF.
bool CrLfLines(const std::string& text) {
  if (text.empty() || text.back() != '\n') return false;
  for (size_t i = 0; i < text.size(); ++i) {
    const bool lf = text[i] == '\n', cr = text[i] == '\r';
    if (lf && (i == 0 || text[i - 1] != '\r')) return false;
    if (cr && (i + 1 == text.size() || text[i + 1] != '\n')) return false;
  }
  return true;
}

TEST(KivlogWindows, NamesTextAndLineEndsAreWindows) {
  if (GetFileAttributesW(KivlogExe().c_str()) == INVALID_FILE_ATTRIBUTES) {
    GTEST_SKIP() << "kivlog.exe not built";
  }
  TempDir dir;
  const std::vector<std::string> log = {"--app", "APP", "--path", dir.path()};
  auto with = [&](std::vector<std::string> args) {
    args.insert(args.end(), log.begin(), log.end());
    return args;
  };
  const std::string text = "caf\xc3\xa9 \xe2\x98\x83 one";  // beyond the ANSI code page
  Ran wrote = Kivlog(with({"write", text}));
  ASSERT_EQ(wrote.status, 0u);
  EXPECT_NE(wrote.out.find(dir.path() + "\\APP_"), std::string::npos) << wrote.out;
  EXPECT_TRUE(CrLfLines(wrote.out)) << wrote.out;
  ASSERT_EQ(Kivlog(with({"write", "two"})).status, 0u);

  struct Case {
    std::vector<std::string> args;
    std::vector<std::string> wanted;  // texts the output holds
  } cases[] = {
      {{"show", "-o", "csv"}, {"log,ordinal,", "\\APP_", "," + text + "\r\n", ",two\r\n"}},
      {{"show", "--json", "--grep", "ONE|tw"}, {"\"rawdata\":\"two\""}},
      {{"show", "--json", "--grep", "one"}, {"\"rawdata\":\"" + text + "\""}},
      {{"list", "--json"}, {"\\\\APP_"}},
      {{"show"}, {"    " + text + "\r\n"}},
  };
  for (const Case& c : cases) {
    Ran run = Kivlog(with(c.args));
    EXPECT_EQ(run.status, 0u) << c.args[0];
    EXPECT_TRUE(CrLfLines(run.out)) << run.out;
    for (const std::string& w : c.wanted) EXPECT_NE(run.out.find(w), std::string::npos) << w;
  }
  // --grep's capital makes it match case: "ONE" is not "one".
  EXPECT_EQ(Kivlog(with({"show", "--json", "--grep", "ONE|tw"})).out.find(text), std::string::npos);

  // An export file, under a name beyond the ANSI code page, is the text standard output gets.
  const std::string file = dir.FileU8("\xc3\xa9t\xc3\xa9.csv");
  ASSERT_EQ(Kivlog(with({"export", "--format", "csv", "--output-file", file})).status, 0u);
  EXPECT_EQ(kivtest::ReadBytes(file), Kivlog(with({"show", "-o", "csv"})).out);
}

}  // namespace
