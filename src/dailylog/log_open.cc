// Opening and closing daily logs: the open modes, the table entry and the marker events.
#include "dailylog/log_files.h"
#include "frame/error.h"
#include "frame/guard.h"
#include "kivdbxt/kiv_log.h"
#include "platform/fs.h"
#include "platform/system.h"

namespace kiv {
namespace {

// A day's log exists when both of its files do.
bool LogExists(const String& base) {
  return FileExists(base + kExtLogData) && FileExists(base + kExtLogIndex);
}

}  // namespace

int32_t KivLog::EventLogOpenEx(const String& AppId, const String& Path, int32_t Mode, Date CurrDate,
                               const String& Computer, const String& User, int32_t MaxSize) {
  String app_id = AppId;
  String path = Path;
  return EventLogOpenEx(app_id, path, Mode, CurrDate, Computer, User, MaxSize);
}

int32_t KivLog::EventLogOpenEx(String& AppId, String& Path, int32_t Mode, Date CurrDate,
                               const String& Computer, const String& User, int32_t MaxSize) {
  LogFiles files;
  return Guard(
      u"KivLog.EventLogOpenEx", 0,
      [&] {
        if (AppId.empty()) RaiseLibrary(u"Missing AppId.");
        const String base = MakeLogFileName(AppId, Path, CurrDate);
        bool create = Mode == ELOF_CREATE_ALWAYS || Mode == ELOF_BACKUP_IFEXISTS;
        if (Mode == ELOF_OPEN_EXISTING && !LogExists(base)) {
          RaiseLibrary(u"Il file di log " + base + u" non esiste.");
        }
        if (Mode == ELOF_CREATE_NEW && LogExists(base)) {
          RaiseLibrary(u"Il file di log " + base + u" esiste già.");
        }
        Check(Mode == ELOF_BACKUP_IFEXISTS && RenameLog(base));

        auto info = std::make_shared<KivLogInfo>();
        const int32_t id = UniqueNumber();
        info->unk(LogKey(id));
        info->AppId(AppId);
        info->Path(Path);
        info->FileName(base);
        info->Computer(Computer);
        info->User(User);
        info->MaxSize(MaxSize);
        OpenLogFiles(*info, files, false, create);
        files.Close();
        AddLog(id, info);
        EventLogWrite(id, u"EVENTLOG", u"Open", RWDT_ASCII, EVENTLOG_INFORMATION_TYPE, String(), 1);
        return id;
      },
      [&] { files.Close(); });
}

int32_t KivLog::EventLogOpen(const String& AppId, const String& Path, int32_t Mode, Date CurrDate,
                             const String& Computer, const String& User) {
  return EventLogOpenEx(AppId, Path, Mode, CurrDate, Computer, User, 0);
}

int32_t KivLog::EventLogOpen(String& AppId, String& Path, int32_t Mode, Date CurrDate,
                             const String& Computer, const String& User) {
  return EventLogOpenEx(AppId, Path, Mode, CurrDate, Computer, User, 0);
}

bool KivLog::EventLogClose(int32_t Id) {
  return Guard(u"KivLog.EventLogClose", true, [&] {
    FindLog(Id);
    // A log whose "Closed" marker cannot be written stays open, so that the close can be retried.
    if (EventLogWrite(Id, u"EVENTLOG", u"Closed", RWDT_ASCII, EVENTLOG_INFORMATION_TYPE)) {
      RaiseRecorded();
    }
    RemoveLog(Id);
    return false;
  });
}

}  // namespace kiv
