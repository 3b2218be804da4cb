// Writing events, one or a batch: day change, size limit, and the append of count, entries and
// records.
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

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

void CheckSize(const KivLogInfo& info, int64_t size) {
  if (info.MaxSize() > 0 && size > info.MaxSize()) {
    RaiseLibrary(u"Il file di log " + info.FileName() + u" ha superato la dimensione massima.");
  }
}

// Adds the record EventLogWrite makes of its arguments: the event cleaned as TranslateData
// cleans it, then written as Save writes it.
void AddRecord(OpenLogEntry& log, Date now, StringView Source, StringView RawData,
               int32_t RawDataType, int32_t EventType, StringView Category, int32_t EventId,
               StringView Server) {
  const KivLogInfo& info = *log.info;
  const RecordInput in{UniqueNumber(), now,         Source,      EventType,
                       Category,       EventId,     info.User(), info.Computer(),
                       Server,         RawDataType, RawData};
  log.writer.Append(in, true, (info.Options() & KIVLIOPT_UTF8) != 0, log.batch.bytes);
  log.batch.ends.push_back(log.batch.bytes.size());
}

// The entries of the records of a batch placed from the 0-based `first`: as many as single
// writes would make, each of which checks the size limit before its append.
size_t BatchEntries(const KivLogInfo& info, const RecordBatch& batch, int64_t first,
                    std::string& entries) {
  size_t count = 0;
  for (; count < batch.ends.size(); ++count) {
    const int64_t offset = first + static_cast<int64_t>(batch.Start(count));
    if (count > 0 && info.MaxSize() > 0 && offset > info.MaxSize()) break;
    if (offset + 1 > std::numeric_limits<int32_t>::max()) Raise(kErrOverflow);
    AppendIndexValue(entries, static_cast<int32_t>(offset + 1));
  }
  return count;
}

// Appends in this order: the records, their entries, the new count. The records go first, so
// that the index never counts a record that is not whole on disk: a write stopped at any byte
// leaves at worst records after the last counted one, or entries after the count, which readers
// do not see and the next write takes in or writes over (log_repair.h). A write that fails part
// way (a full disk) takes its own bytes back at once: the data file is cut to where it was, so
// that the next write does not index records whose write reported an error. A record that would
// start past the size limit is not written, nor any after it; the ones before it are, and then
// the size error is raised, as single writes would stop at it.
void AppendRecords(KivLogInfo& info, LogFiles& files, const LogTail& tail,
                   const RecordBatch& batch) {
  const int32_t n = tail.events;
  // The data file ends inside a line: the first record must start a line of its own.
  const int64_t first = tail.append_at + (tail.needs_line_end ? 2 : 0);
  std::string entries;
  const size_t count = BatchEntries(info, batch, first, entries);
  if (count > static_cast<size_t>(std::numeric_limits<int32_t>::max() - n)) Raise(kErrOverflow);
  const int32_t total = n + static_cast<int32_t>(count);
  std::string_view records(batch.bytes.data(), batch.Start(count));
  std::string block;
  if (tail.needs_line_end) {
    block = "\r\n";
    block += records;
    records = block;
  }
  try {
    // The records at once, so that a reader never finds one cut short by a write in progress.
    files.data.WriteAt(tail.append_at, records.data(), records.size());
    files.index.WriteAt(IndexEntryOffset(int64_t{n} + 1), entries.data(), entries.size());
    WriteIndexCount(files, total);
  } catch (...) {
    RunCleanup([&] { files.data.Truncate(tail.append_at); });
    throw;
  }
  files.data_size = tail.append_at + static_cast<int64_t>(records.size());
  files.index_size = IndexEntryOffset(int64_t{total} + 1);
  info.Events(total);
  if (count < batch.ends.size()) CheckSize(info, first + static_cast<int64_t>(batch.Start(count)));
}

// The steps of a write once both files are locked: put the index and the data file's end back
// in step, check the size limit, append. `known` is true when this writer's own last write left
// the files as they are: they are in step, and end where that write ended.
void AppendLocked(KivLogInfo& info, LogFiles& files, const RecordBatch& batch, bool known) {
  const LogTail tail =
      known ? LogTail{info.Events(), files.data_size, false} : RepairLogTail(files, info.Events());
  info.Events(tail.events);
  CheckSize(info, files.data_size);
  AppendRecords(info, files, tail, batch);
}

// Appends the batch to the kept files of a log with KIVLIOPT_KEEPOPEN, locked for the write.
void WriteKept(OpenLogEntry& log, const RecordBatch& batch) {
  try {
    const bool known = LockKeptFiles(log, batch.ends.size() == 1);
    AppendLocked(*log.info, log.kept.files, batch, known);
    UnlockKeptFiles(log);
  } catch (...) {
    log.kept.Close();  // the next write starts from a fresh open
    throw;
  }
}

// Appends the batch: to the kept files with KIVLIOPT_KEEPOPEN, else to the day's files opened
// and locked for this write alone.
void WriteBatch(OpenLogEntry& log, const RecordBatch& batch, LogFiles& files) {
  KivLogInfo& info = *log.info;
  if (info.Options() & KIVLIOPT_KEEPOPEN) return WriteKept(log, batch);
  log.kept.Close();  // the option was taken off
  OpenLogFiles(info, log.Paths(), files, false, false);
  AppendLocked(info, files, batch, false);
  files.Close();
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
        const Date now = Now();
        FollowDay(log, now);
        log.batch.Clear();
        AddRecord(log, now, Source, RawData, RawDataType, EventType, Category, EventId, Server);
        WriteBatch(log, log.batch, files);
        return false;
      },
      [&] { files.Close(); });
}

bool KivLog::EventLogWriteBatch(int32_t Id, const std::shared_ptr<Collection>& Events) {
  LogFiles files;
  return Guard(
      u"KivLog.EventLogWriteBatch", true,
      [&] {
        OpenLogEntry& log = FindEntry(Id);
        if (!Events) Raise(kErrObjectNotSet);
        // Every item must be an event before anything is written.
        std::vector<std::shared_ptr<KivLogEvent>> events;
        events.reserve(static_cast<size_t>(Events->Count()));
        for (int32_t i = 1; i <= Events->Count(); ++i) {
          auto event = Events->ObjectAt<KivLogEvent>(i);
          if (!event) Raise(kErrTypeMismatch);
          events.push_back(std::move(event));
        }
        if (events.empty()) return false;
        const Date now = Now();
        FollowDay(log, now);
        log.batch.Clear();
        for (const auto& e : events) {
          AddRecord(log, now, e->EvSource(), e->EvRawData(), e->EvDataType(), e->EvType(),
                    e->EvCategory(), e->EvId(), e->EvServer());
        }
        WriteBatch(log, log.batch, files);
        return false;
      },
      [&] { files.Close(); });
}

}  // namespace kiv
