// Listing the logs of a folder and moving a log aside.
#include "dailylog/log_files.h"
#include "frame/error.h"
#include "frame/guard.h"
#include "kivdbxt/kiv_log.h"
#include "platform/fs.h"
#include "platform/rt_errors.h"
#include "platform/system.h"

namespace kiv {
namespace {

// A descriptor of the log whose index file is `name` in folder.
std::shared_ptr<KivLogInfo> ListedLog(const String& folder, const String& name) {
  auto info = std::make_shared<KivLogInfo>();
  String stem = name.substr(0, name.rfind(u'.'));
  info->Path(folder);
  info->FileName(folder + stem);
  size_t underscore = stem.rfind(u'_');
  if (underscore != String::npos) info->AppId(stem.substr(0, underscore));
  return info;
}

}  // namespace

bool KivLog::EventLogList(const std::shared_ptr<Collection>& RetLogs, const String& Path) {
  return Guard(u"KivLog.EventLogLIst", true, [&] {
    if (!RetLogs) Raise(kErrObjectNotSet);
    const String folder = WithTrailingSeparator(Path.empty() ? DefaultLogFolder() : Path);
    RetLogs->Clear();
    for (const String& name : ListFiles(folder + u"*" + kExtLogIndex)) {
      auto info = ListedLog(folder, name);
      Check(RetLogs->Add(Variant(std::static_pointer_cast<Object>(info))));
    }
    return false;
  });
}

bool KivLog::RenameLog(const String& LogName) {
  return Guard(u"KivLogRenameLog", true, [&] {
    if (!FileExists(LogName + kExtLogData)) return false;
    String backup;
    for (int64_t n = 1;; ++n) {
      backup = LogName + u"-" + ZeroPad(n, 2);
      if (!FileExists(backup + kExtLogData)) break;
    }
    RenameFile(LogName + kExtLogData, backup + kExtLogData);
    if (FileExists(LogName + kExtLogIndex))
      RenameFile(LogName + kExtLogIndex, backup + kExtLogIndex);
    return false;
  });
}

}  // namespace kiv
