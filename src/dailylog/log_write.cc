// Writing one event: day change, size limit, and the append of count, entry and record.
#include <cstdint>
#include <limits>
#include <string>

#include "dailylog/log_files.h"
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
  if (info.MaxSize() > 0 && files.data.Size() > info.MaxSize()) {
    RaiseLibrary(u"Il file di log " + info.FileName() + u" ha superato la dimensione massima.");
  }
}

// The largest cut record a writer reads back to recognise it.
constexpr int64_t kMaxCutRecord = 16 << 20;

// A writer stopped inside its record (a crash, a power cut) leaves the data file without an END
// line at its end. Readers count that record as not written; so does the next writer, which
// cuts it off and puts its own record in its place, so that the day reads whole again. Only a
// tail that is plainly one cut record, from its "UNK=" line to the end without an END line, is
// taken for one. Returns the events that stay; `size` becomes the data file's new length.
int32_t DropCutRecord(LogFiles& files, int32_t n, int64_t& size) {
  if (n == 0 || EndsWithEndLine(files.data, size)) return n;
  const int64_t start = int64_t{ReadIndexValue(files.index, IndexEntryOffset(n))} - 1;
  if (start < 0 || start >= size || size - start > kMaxCutRecord) return n;
  std::string rest(static_cast<size_t>(size - start), '\0');
  if (files.data.ReadAt(start, rest.data(), rest.size()) != rest.size()) return n;
  const std::string end_line = "\n" + std::string(kRecordEndLine);
  if (!rest.starts_with("UNK=") || rest.find(end_line) != std::string::npos) return n;
  files.data.Truncate(start);
  size = start;
  return n - 1;
}

// Appends in this order: the new count, the new entry, the record. The count comes first, so an
// interrupted append leaves a count that readers bound by the entries really present. A record
// that cannot be written whole (a full disk) is taken back: the data file is cut to where it was
// and the count restored, so that the next write does not leave a damaged record behind it.
void AppendEvent(KivLogInfo& info, LogFiles& files, std::string_view record) {
  int64_t size = files.data.Size();
  const int32_t n = DropCutRecord(files, info.Events(), size);
  // With no events counted the record goes to the start, whatever the data file holds.
  const int64_t data_offset = n == 0 ? 0 : size;
  if (data_offset + 1 > std::numeric_limits<int32_t>::max()) Raise(kErrOverflow);
  WriteIndexValue(files.index, 0, n + 1);
  WriteIndexValue(files.index, IndexEntryOffset(n + 1), static_cast<int32_t>(data_offset + 1));
  try {
    files.data.WriteAt(data_offset, record.data(), record.size());  // the whole record at once
  } catch (...) {
    RunCleanup([&] {
      files.data.Truncate(size);
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

        OpenLogFiles(info, log.Paths(), files, false, false);
        CheckSize(info, files);
        AppendEvent(info, files, record);
        files.Close();
        return false;
      },
      [&] { files.Close(); });
}

}  // namespace kiv
