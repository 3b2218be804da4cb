#include "support/kill_points.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

namespace kiv::testing {
namespace {

bool ChangesAFile(long nr) {
  switch (nr) {
    case SYS_write:
    case SYS_pwrite64:
    case SYS_writev:
    case SYS_pwritev:
    case SYS_ftruncate:
    case SYS_truncate:
    case SYS_rename:
    case SYS_renameat:
    case SYS_renameat2:
    case SYS_unlink:
    case SYS_unlinkat:
    case SYS_fallocate:
      return true;
    default:
      return false;
  }
}

void KillAndReap(pid_t pid) {
  ::kill(pid, SIGKILL);
  ::waitpid(pid, nullptr, 0);
}

}  // namespace

bool RunKilledAfterChange(int n, const std::function<void()>& work) {
  const pid_t pid = ::fork();
  if (pid < 0) std::abort();
  if (pid == 0) {
    ::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
    ::raise(SIGSTOP);  // lets the parent set its options before the work starts
    work();
    ::_exit(0);
  }
  int status = 0;
  ::waitpid(pid, &status, 0);
  if (::ptrace(PTRACE_SETOPTIONS, pid, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL) != 0) {
    KillAndReap(pid);
    ADD_FAILURE() << "ptrace is not allowed here";
    return false;
  }
  int changes = 0, pass_signal = 0;
  long entered = -1;
  for (;;) {
    ::ptrace(PTRACE_SYSCALL, pid, nullptr, pass_signal);
    pass_signal = 0;
    if (::waitpid(pid, &status, 0) != pid || WIFEXITED(status) || WIFSIGNALED(status)) return false;
    if (WSTOPSIG(status) != (SIGTRAP | 0x80)) {
      pass_signal = WSTOPSIG(status);  // a signal of the work's own
      continue;
    }
    __ptrace_syscall_info info{};
    ::ptrace(PTRACE_GET_SYSCALL_INFO, pid, sizeof info, &info);
    if (info.op == PTRACE_SYSCALL_INFO_ENTRY) {
      entered = static_cast<long>(info.entry.nr);
    } else if (info.op == PTRACE_SYSCALL_INFO_EXIT && ChangesAFile(entered) && ++changes == n) {
      KillAndReap(pid);
      return true;
    }
  }
}

}  // namespace kiv::testing
