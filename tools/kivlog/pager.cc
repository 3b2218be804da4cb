#include "pager.h"

#if defined(_WIN32)

#include <windows.h>

#include <cstdlib>

namespace kivlog {

// Windows' console has no pager to hand the output to: it is written straight out.
void StartPager() {}

// Colours are escape sequences, which a console shows once asked to.
bool ColourWanted() {
  const char* no_colour = std::getenv("NO_COLOR");
  if (no_colour && *no_colour) return false;
  HANDLE out = GetStdHandle(STD_OUTPUT_HANDLE);
  DWORD mode = 0;
  return GetConsoleMode(out, &mode) &&
         SetConsoleMode(out, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING);
}

}  // namespace kivlog

#else

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <string>

#include "commands.h"

namespace kivlog {
namespace {

pid_t pager_pid = 0;

// At exit: the pager gets the end of its input and the program waits for the person to leave
// it, so that the shell's prompt does not appear inside the pager.
void WaitForPager() {
  std::cout.flush();
  std::fflush(stdout);
  ::close(STDOUT_FILENO);
  int status = 0;
  while (::waitpid(pager_pid, &status, 0) < 0 && errno == EINTR) {
  }
}

}  // namespace

void StartPager() {
  if (pager_pid != 0 || Globals().no_pager || !::isatty(STDOUT_FILENO)) return;
  const char* env = std::getenv("PAGER");
  const std::string pager = env && *env ? env : "less -FRX";
  if (pager == "cat") return;
  int fds[2];
  if (::pipe(fds) != 0) return;
  std::cout.flush();
  std::fflush(stdout);
  const pid_t pid = ::fork();
  if (pid < 0) {
    ::close(fds[0]);
    ::close(fds[1]);
    return;
  }
  if (pid == 0) {
    ::dup2(fds[0], STDIN_FILENO);
    ::close(fds[0]);
    ::close(fds[1]);
    ::execl("/bin/sh", "sh", "-c", pager.c_str(), static_cast<char*>(nullptr));
    ::_exit(127);
  }
  ::dup2(fds[1], STDOUT_FILENO);
  ::close(fds[0]);
  ::close(fds[1]);
  pager_pid = pid;
  std::atexit(WaitForPager);
}

bool ColourWanted() {
  const char* no_colour = std::getenv("NO_COLOR");
  const char* term = std::getenv("TERM");
  if ((no_colour && *no_colour) || (term && std::string(term) == "dumb")) return false;
  return ::isatty(STDOUT_FILENO) == 1;
}

}  // namespace kivlog

#endif
