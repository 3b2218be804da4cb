// Crashes at every step: runs a piece of work in a child process and kills it right after its
// n-th system call that changes a file, for n = 1, 2, ... until the work gets through. What the
// kill leaves on disk is exactly what a crash at that point leaves: the kernel completed every
// call before it, and none after it began.
#pragma once

#include <functional>

namespace kiv::testing {

// Runs `work` in a traced child and kills it with SIGKILL as the `n`-th (1-based) call of
// write, pwrite, writev, ftruncate, rename, unlink or fallocate returns. Returns true when the
// child was killed so, false when it finished before its n-th such call.
bool RunKilledAfterChange(int n, const std::function<void()>& work);

}  // namespace kiv::testing
