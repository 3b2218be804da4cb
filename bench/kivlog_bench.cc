// The kivlog tool on a day of a million events, next to what a user would otherwise run: an
// export through a filter next to grep -c of the same key, a JSON export of the whole day next
// to the library's own walk of it in this process, and the peak memory of a show of the whole
// day.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <filesystem>
#include <string>

#include "bench_day.h"
#include "kivdbxt/kivdbxt.h"
#include "platform/locale.h"
#include "targets.h"

namespace {

constexpr int kEvents = 1000000;

// The kivlog built beside this program.
std::string KivlogPath() {
  const auto exe = std::filesystem::read_symlink("/proc/self/exe");
  return (exe.parent_path().parent_path() / "tools/kivlog/kivlog").string();
}

// Runs a shell command; its output is read and dropped.
bool Shell(const std::string& command, std::string* out = nullptr) {
  std::FILE* p = ::popen(command.c_str(), "r");
  if (!p) return false;
  char buf[4096];
  for (size_t n; (n = std::fread(buf, 1, sizeof buf, p)) > 0;) {
    if (out) out->append(buf, n);
  }
  return ::pclose(p) == 0;
}

std::string KivlogOn(const std::string& args) {
  return KivlogPath() + " --locale iso " + args + " --file '" + kivbench::DayOfEvents(kEvents) +
         "'";
}

void GrepCount(benchmark::State& state) {
  const std::string command = "grep -c '^EID=42' '" + kivbench::DayOfEvents(kEvents) + ".ZLG'";
  for (auto _ : state) {
    std::string out;
    if (!Shell(command, &out) || std::stoi(out) != kEvents / 100) {
      state.SkipWithError("grep failed");
      break;
    }
  }
}

// kivlog on the day with these arguments, its output to /dev/null.
void Kivlog(benchmark::State& state, const char* args) {
  const std::string command = KivlogOn(args) + " > /dev/null";
  for (auto _ : state) {
    if (!Shell(command)) {
      state.SkipWithError("kivlog failed");
      break;
    }
  }
}

// Every event of the day read through the library, a page at a time, in this process.
void LibraryWalkAll(benchmark::State& state) {
  kiv::KivLog log;
  auto info = std::make_shared<kiv::KivLogInfo>();
  info->FileName(kiv::FromUtf8(kivbench::DayOfEvents(kEvents)));
  for (auto _ : state) {
    int64_t read = 0;
    for (int32_t start = 1;; start += 1000) {
      if (log.EventLogRead(info, start, 1000)) {
        state.SkipWithError(kiv::ToUtf8(kiv::LastErrorRecord().Description).c_str());
        return;
      }
      read += info->LogData()->Count();
      if (info->LogData()->Count() < 1000) break;
    }
    if (read != kEvents) {
      state.SkipWithError("walk failed");
      break;
    }
  }
}

// The peak resident memory of `kivlog show -n 1000002` of the day, in MB (-1 when it cannot be
// measured).
double ShowPeakMegabytes() {
  std::string out;
  Shell("/usr/bin/time -v " + KivlogOn("show -n 1000002") + " 2>&1 >/dev/null", &out);
  const std::string key = "Maximum resident set size (kbytes): ";
  const size_t at = out.find(key);
  return at == std::string::npos ? -1 : std::stod(out.substr(at + key.size())) / 1024;
}

BENCHMARK(GrepCount)->Unit(benchmark::kMillisecond)->UseRealTime();
// One event in 100 passes the filter.
BENCHMARK_CAPTURE(Kivlog, ExportId, "export --id 42")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(LibraryWalkAll)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(Kivlog, ExportJson, "export -o json")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
  kiv::SetLocale(kiv::LocaleKind::Iso);
  bool listing = false;
  for (int i = 1; i < argc; ++i) listing |= std::string(argv[i]).starts_with("--benchmark_list");
  const int rc = kivbench::RunWithTargets(
      argc, argv,
      {{"kivlog export --id N (1 in 100) of a 1,000,000-event day against grep -c of the key",
        "Kivlog/ExportId/real_time", "GrepCount/real_time", 3.0},
       {"kivlog export -o json of the day against the library's walk of all its events",
        "Kivlog/ExportJson/real_time", "LibraryWalkAll/real_time", 2.0}});
  if (listing) return rc;
  const double peak = ShowPeakMegabytes();
  constexpr double kLimit = 50;
  std::printf(
      "target: peak memory of kivlog show -n 1000002 of the day = %.1f MB (at most %.0f) %s\n",
      peak, kLimit, peak >= 0 && peak < kLimit ? "met" : "MISSED");
  return rc;
}
