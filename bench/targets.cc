#include "targets.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>

namespace kivbench {
namespace {

// The console table, keeping each benchmark's time per iteration: the median when there are
// repetitions, else the one run.
class TargetReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      const std::string name = run.run_name.str();
      if (run.run_type == Run::RT_Aggregate && run.aggregate_name == "median") {
        medians_[name] = run.GetAdjustedRealTime();
      } else if (run.run_type == Run::RT_Iteration) {
        singles_[name] = run.GetAdjustedRealTime();
      }
    }
  }

  bool Time(const std::string& name, double& out) const {
    if (auto it = medians_.find(name); it != medians_.end()) {
      out = it->second;
      return true;
    }
    if (auto it = singles_.find(name); it != singles_.end()) {
      out = it->second;
      return true;
    }
    return false;
  }

 private:
  std::map<std::string, double> medians_, singles_;
};

}  // namespace

int RunWithTargets(int argc, char** argv, const std::vector<Target>& targets) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  TargetReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  for (const Target& t : targets) {
    double measured = 0, baseline = 0;
    if (!reporter.Time(t.measured, measured) || !reporter.Time(t.baseline, baseline) ||
        baseline <= 0) {
      continue;
    }
    const double ratio = measured / baseline;
    if (t.limit <= 0) {
      std::printf("ratio: %s: %s / %s = %.2f\n", t.what.c_str(), t.measured.c_str(),
                  t.baseline.c_str(), ratio);
      continue;
    }
    std::printf("target: %s: %s / %s = %.2f (at most %.2f) %s\n", t.what.c_str(),
                t.measured.c_str(), t.baseline.c_str(), ratio, t.limit,
                ratio <= t.limit ? "met" : "MISSED");
  }
  return 0;
}

}  // namespace kivbench
