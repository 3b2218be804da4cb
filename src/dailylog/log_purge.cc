// Purging daily logs: one open log's current files, or every day of a folder before a date.
#include <vector>

#include "dailylog/log_files.h"
#include "frame/error.h"
#include "frame/guard.h"
#include "kivdbxt/kiv_log.h"
#include "platform/date.h"
#include "platform/fs.h"

namespace kiv {
namespace {

constexpr int kRemoveAttempts = 1024;

// Deletes a file and insists that it is gone; a file that is already missing counts as removed.
void RemoveLogFile(const String& path) {
  for (int attempt = 0; attempt < kRemoveAttempts; ++attempt) {
    RemoveFile(path);
    if (!FileExists(path)) return;
  }
  RaiseLibrary(u"Unable to remove log file " + path);
}

// The base name (without folder) of a data file listed for purging, when its day lies before
// `before`; names without "." or "_", or whose day is not a date, are left alone.
bool DueForPurge(const String& name, Date before, String& stem) {
  size_t dot = name.find(u'.');
  if (dot == String::npos) return false;
  stem = name.substr(0, dot);
  size_t underscore = stem.find(u'_');
  if (underscore == String::npos) return false;
  Date day;
  try {
    day = CompactDayDate(StringView(stem).substr(underscore + 1));
  } catch (const Error&) {
    return false;
  }
  return DateDiffDays(day, before) >= 1;
}

}  // namespace

bool KillEventLog(const String& base) {
  return Guard(u"KivLog.KillEventLog", true, [&] {
    RemoveLogFile(base + kExtLogIndex);
    RemoveLogFile(base + kExtLogData);
    return false;
  });
}

bool KivLog::EventLogPurge(int32_t Id) {
  return Guard(u"KivLog.EventLogPurge", true, [&] {
    auto info = FindLog(Id);
    Check(KillEventLog(info->FileName()));
    RemoveLog(Id);
    return false;
  });
}

bool KivLog::EventLogPurgeEx(const Date& Before, const String& AppId, const String& Path) {
  Date before = Before;
  return EventLogPurgeEx(before, AppId, Path);
}

bool KivLog::EventLogPurgeEx(Date& Before, const String& AppId, const String& Path) {
  return Guard(u"KivLog.EventLogPurgeEx", true, [&] {
    const String folder = WithTrailingSeparator(Path.empty() ? DefaultLogFolder() : Path);
    const String mask = AppId.empty() ? String(u"*") : AppId + u"_*";
    // The listing is finished before anything is deleted.
    std::vector<String> doomed;
    String stem;
    for (const String& name : ListFiles(folder + mask + kExtLogData)) {
      if (DueForPurge(name, Before, stem)) doomed.push_back(stem);
    }
    for (const String& base : doomed) {
      Check(KillEventLog(folder + base));
    }
    return false;
  });
}

}  // namespace kiv
