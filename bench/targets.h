// The speed targets of a benchmark program, each the ratio of two benchmarks of the same run,
// printed after the usual console table so that one command shows whether they are met.
#pragma once

#include <string>
#include <vector>

namespace kivbench {

struct Target {
  std::string what;      // what the ratio says, for a person
  std::string measured;  // benchmark name, with its arguments ("ReadBackLastPage/1000000")
  std::string baseline;
  double limit;  // the ratio measured / baseline must not be above it; 0: only reported
};

// Runs the benchmarks the command line selects, then prints each target whose two benchmarks
// ran. With repetitions, the medians are compared. Returns main's exit code.
int RunWithTargets(int argc, char** argv, const std::vector<Target>& targets);

}  // namespace kivbench
