#include "sector/debug_log.h"

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <ctime>

#include "dailylog/log_files.h"
#include "frame/guard.h"
#include "kivdbxt/error.h"
#include "platform/file.h"
#include "platform/clock.h"
#include "platform/fs.h"
#include "platform/system.h"

namespace kiv {
namespace {

// Local time with milliseconds: "2024-03-05 10:00:00.123".
std::string TimeWithMilliseconds() {
  const auto now = std::chrono::system_clock::now();
  const std::time_t secs = std::chrono::system_clock::to_time_t(now);
  const auto ms =
      std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
  const std::tm local = LocalTime(secs);
  char buf[64];
  std::snprintf(buf, sizeof buf, "%04d-%02d-%02d %02d:%02d:%02d.%03d", local.tm_year + 1900,
                local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec,
                static_cast<int>(ms));
  return buf;
}

}  // namespace

String DebugLogFile() {
  return DefaultLogFolder() + kPathSeparator + ProgramName() + u".log";
}

void WriteDebugLine(const std::string& operation, const std::string& arguments, bool failed) {
  std::string line = TimeWithMilliseconds() + " " + std::to_string(ProcessId()) + " " + operation;
  if (!arguments.empty()) line += " " + arguments;
  line += failed ? " -> True" : " -> False";
  if (failed) {
    const ErrorRecord e = LastErrorRecord();
    line += " error " + std::to_string(e.Number) + " " + ToUtf8(e.Description);
  }
  line += '\n';
  // A debug log that cannot be written never fails the operation it describes, nor touches the
  // error that operation recorded.
  RunCleanup([&] {
    PrepareFolder(DefaultLogFolder());
    OpenOptions o;
    o.access = Access::Write;
    o.create = true;
    o.lock = ShareLock::Exclusive;
    File log = File::Open(DebugLogFile(), o);
    log.WriteAt(log.Size(), line.data(), line.size());
  });
}

}  // namespace kiv
