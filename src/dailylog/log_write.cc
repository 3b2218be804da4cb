// Writing one event: day change, size limit, and the append of count, entry and record.
#include <cstdint>
#include <limits>
#include <string>

#include "dailylog/log_files.h"
#include "dailylog/log_repair.h"
#include "event/event_access.h"
#include "frame/error.h"
#include "frame/guard.h"
#include "kivdbxt/kiv_log.h"
#include "kivdbxt/kiv_log_event.h"
#include "platform/clock.h"
#include "platform/date.h"
#include "platform/rt_errors.h"
#include "platform/system.h"

namespace kiv {
namespace {

// Moves the log to the files of `now`'s day when the day has changed since its files were named.
void FollowDay(OpenLogEntry& log, Date now) {
  KivLogInfo& info = *log.info;
  if (info.Options() & KIVLIOPT_DONTCHANGEFILE) return;
  if (DateDiffDays(log.Day(), now) <= 0) return;
  String path = info.Path();
  info.FileName(MakeLogFileName(info.AppId(), path, now));
}

void CheckSize(const KivLogInfo& info, const LogFiles& files) {
  if (info.MaxSize() > 0 && files.data_size > info.MaxSize()) {
    RaiseLibrary(u"Il file di log " + info.FileName() + u" ha superato la dimensione massima.");
  }
}

// The event's record, as Save writes it.
std::string BuildRecord(const KivLogInfo& info, Date now, const String& Source,
                        const String& RawData, int32_t RawDataType, int32_t EventType,
                        const String& Category, int32_t EventId, const String& Server) {
  KivLogEvent event;
  event.EvCategory(Category);
  event.EvComputer(info.Computer());
  event.EvDate(now);
  event.EvId(EventId);
  event.EvDataType(RawDataType);
  event.EvRawData(RawData);
  event.EvServer(Server);
  event.EvSource(Source);
  event.EvType(EventType);
  event.EvUnk(UniqueNumber());
  event.EvUser(info.User());
  if (event.TranslateData()) RaiseRecorded();
  std::string record;
  EventAccess::AppendRecord(event, record, (info.Options() & KIVLIOPT_UTF8) != 0);
  return record;
}

// Appends in this order: the new count, the new entry, the record. The count comes first, so an
// interrupted append leaves a count that readers bound by the entries really present; an entry
// without its record, or a record cut short, is taken back by the next writer. A record that
// cannot be written whole (a full disk) is taken back at once: the data file is cut to where it
// was and the count restored, so that the next write does not leave a damaged record behind it.
void AppendEvent(KivLogInfo& info, LogFiles& files, const LogTail& tail, std::string_view record) {
  const int32_t n = tail.events;
  std::string block;
  if (tail.needs_line_end) {
    // The data file ends inside a line: the record must start a line of its own.
    block = "\r\n";
    block += record;
    record = block;
  }
  const int64_t data_offset = tail.append_at + (tail.needs_line_end ? 2 : 0);
  if (data_offset + 1 > std::numeric_limits<int32_t>::max()) Raise(kErrOverflow);
  WriteIndexValue(files.index, 0, n + 1);
  WriteIndexValue(files.index, IndexEntryOffset(n + 1), static_cast<int32_t>(data_offset + 1));
  try {
    files.data.WriteAt(tail.append_at, record.data(), record.size());  // the record at once
  } catch (...) {
    RunCleanup([&] {
      files.data.Truncate(tail.append_at);
      WriteIndexValue(files.index, 0, n);
    });
    throw;
  }
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
        OpenLogEntry& log = FindEntry(Id);
        KivLogInfo& info = *log.info;
        const Date now = Now();
        FollowDay(log, now);

        const std::string record = BuildRecord(info, now, Source, RawData, RawDataType, EventType,
                                               Category, EventId, Server);
        // The steps of a write: lock both files, put the index and the data file's end back
        // in step, check the size limit, append.
        OpenLogFiles(info, log.Paths(), files, false, false);
        const LogTail tail = RepairLogTail(files, info.Events());
        info.Events(tail.events);
        CheckSize(info, files);
        AppendEvent(info, files, tail, record);
        files.Close();
        return false;
      },
      [&] { files.Close(); });
}

}  // namespace kiv
