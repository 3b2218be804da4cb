// Writing one event: day change, size limit, and the append of count, entry and record.
#include <cstdint>
#include <limits>

#include "dailylog/log_files.h"
#include "frame/error.h"
#include "frame/guard.h"
#include "kivdbxt/kiv_log.h"
#include "kivdbxt/kiv_log_event.h"
#include "platform/clock.h"
#include "platform/date.h"
#include "platform/file_table.h"
#include "platform/rt_errors.h"
#include "platform/system.h"

namespace kiv {
namespace {

// Moves the log to the files of `now`'s day when the day has changed since its files were named.
void FollowDay(KivLogInfo& info, Date now) {
  if (info.Options() & KIVLIOPT_DONTCHANGEFILE) return;
  if (DateDiffDays(LogDayDate(info.FileName()), now) <= 0) return;
  String path = info.Path();
  info.FileName(MakeLogFileName(info.AppId(), path, now));
}

void CheckSize(const KivLogInfo& info, const LogFiles& files) {
  if (info.MaxSize() > 0 && FileLof(files.data) > info.MaxSize()) {
    RaiseLibrary(u"Il file di log " + info.FileName() + u" ha superato la dimensione massima.");
  }
}

// Appends in this order: the new count, the new entry, the record. The count comes first, so an
// interrupted append leaves a count that readers bound by the entries really present.
void AppendEvent(KivLogInfo& info, const LogFiles& files, KivLogEvent& event) {
  const int32_t n = info.Events();
  int64_t data_position = n == 0 ? 1 : FileLof(files.data) + 1;
  if (data_position > std::numeric_limits<int32_t>::max()) Raise(kErrOverflow);
  PutLong(files.index, 1, n + 1);
  PutLong(files.index, IndexEntryPosition(n + 1), static_cast<int32_t>(data_position));
  FileSeek(files.data, data_position);
  int32_t handle = files.data;
  if (event.Save(handle)) RaiseRecorded();
  info.Events(n + 1);
}

}  // namespace

bool KivLog::EventLogWrite(int32_t Id, const String& Source, const String& RawData,
                           int32_t RawDataType, int32_t EventType, const String& Category,
                           int32_t EventId, const String& Server) {
  LogFiles files;
  return Guard(
      u"KivLog.EventLogWrite", true,
      [&] {
        auto info = FindLog(Id);
        const Date now = Now();
        FollowDay(*info, now);

        KivLogEvent event;
        event.EvCategory(Category);
        event.EvComputer(info->Computer());
        event.EvDate(now);
        event.EvId(EventId);
        event.EvDataType(RawDataType);
        event.EvRawData(RawData);
        event.EvServer(Server);
        event.EvSource(Source);
        event.EvType(EventType);
        event.EvUnk(UniqueNumber());
        event.EvUser(info->User());
        if (event.TranslateData()) RaiseRecorded();

        OpenLogFiles(*info, files, false, false);
        CheckSize(*info, files);
        AppendEvent(*info, files, event);
        files.Close();
        return false;
      },
      [&] { files.Close(); });
}

}  // namespace kiv
