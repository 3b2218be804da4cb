// Checks run in a child process, for what must not happen in the test's own: giving up root,
// meeting a signal, holding a lock past the child's end. The child reports what did not hold.
#pragma once

#if !defined(_WIN32)
#include <sys/wait.h>
#include <unistd.h>
#endif

#include <string>

#include "kivdbxt/error.h"

namespace kivtest {

// "" when the check holds, else what did not.
inline std::string Check(bool ok, const std::string& what) { return ok ? "" : what + "; "; }

// "" when the last recorded error is this one, else what it is.
inline std::string LastErrorIs(int32_t number, const kiv::String& source,
                               const kiv::String& description) {
  const kiv::ErrorRecord e = kiv::LastErrorRecord();
  if (e.Number == number && e.Source == source && e.Description == description) return "";
  return kiv::ToUtf8(source) + " gave " + std::to_string(e.Number) + " " + kiv::ToUtf8(e.Source) +
         " \"" + kiv::ToUtf8(e.Description) + "\"; ";
}

#if !defined(_WIN32)
// Runs checks in a child process and returns its report: "" when every check held, else what did
// not, or how the child died (SIGALRM: it still waited after `seconds`).
template <class Checks>
std::string InChild(Checks checks, unsigned seconds = 20) {
  int fds[2];
  if (::pipe(fds) != 0) return "pipe failed";
  const pid_t pid = ::fork();
  if (pid == 0) {
    ::close(fds[0]);
    ::alarm(seconds);
    const std::string report = checks();
    if (::write(fds[1], report.data(), report.size()) < 0) ::_exit(2);
    ::_exit(0);
  }
  ::close(fds[1]);
  std::string report;
  char buf[512];
  for (ssize_t n; (n = ::read(fds[0], buf, sizeof buf)) > 0;) report.append(buf, size_t(n));
  ::close(fds[0]);
  int status = 0;
  ::waitpid(pid, &status, 0);
  if (WIFSIGNALED(status)) report += "killed by signal " + std::to_string(WTERMSIG(status));
  return report;
}
#endif

}  // namespace kivtest
