// Reading a day's events through its index, forwards or backwards, with an optional filter.
#include "dailylog/log_read.h"

#include <algorithm>
#include <optional>
#include <vector>

#include "dailylog/filtered_walk.h"
#include "dailylog/index_cursor.h"
#include "dailylog/log_files.h"
#include "event/event_access.h"
#include "frame/error.h"
#include "frame/guard.h"
#include "kivdbxt/kiv_log.h"
#include "platform/file_table.h"
#include "platform/rt_errors.h"

namespace kiv {
namespace {

std::shared_ptr<KivLogEvent> LoadEvent(int32_t data, int32_t position) {
  auto event = std::make_shared<KivLogEvent>();
  FileSeek(data, position);
  int32_t handle = data;
  if (event->Load(handle) || event->RestoreData()) RaiseRecorded();
  return event;
}

// The event at an ordinal, or null when the filter rejects it. A filtered walk judges the record
// in the data file's bytes first; what it cannot judge is loaded and tested as any other.
std::shared_ptr<KivLogEvent> NextEvent(int32_t data, IndexCursor& index, int32_t ordinal,
                                       int32_t events, const KivLogFilter* filter,
                                       FilteredWalk* walk) {
  const int32_t position = index.Position(ordinal, events);
  std::shared_ptr<KivLogEvent> event;
  const auto verdict = walk ? walk->Judge(position, event) : FilteredWalk::Verdict::kUnsure;
  if (verdict == FilteredWalk::Verdict::kRejected) return nullptr;
  if (verdict == FilteredWalk::Verdict::kUnsure) {
    event = LoadEvent(data, position);
    if (filter && !filter->IsValid(*event)) return nullptr;
  }
  event->Offset(position);
  EventAccess::SetOrdinal(*event, ordinal);
  return event;
}

int32_t OrdinalAt(const Collection& data, int32_t position) {
  return data.ObjectAt<KivLogEvent>(position)->Ordinal();
}

// Where a read stands: the next ordinal, the direction, whether Adjust may still turn it, and
// whether new events go before the first item (a backward read that has not turned).
struct Walk {
  int32_t ordinal;
  bool backwards;
  bool adjust;
  bool at_front;
};

// Moves to the next ordinal. False when the read ends.
bool Advance(Walk& w, const Collection& data, int32_t gathered, int32_t count, int32_t start,
             int32_t events) {
  if (w.backwards) {
    if (--w.ordinal >= 1) return true;
    if (!w.adjust || gathered >= count) return false;
    // Ran off the first event: go on after the run gathered (after Start when nothing passed).
    w = Walk{data.Count() > 0 ? OrdinalAt(data, data.Count()) + 1 : start + 1, false, false, false};
    return w.ordinal <= events;
  }
  if (++w.ordinal <= events) return true;
  if (!w.adjust) return false;
  // Ran off the last event: go on before the run gathered, appending at the end.
  w = Walk{data.Count() > 0 ? OrdinalAt(data, 1) - 1 : events, true, false, false};
  return w.ordinal >= 1;
}

void AddEvent(Collection& data, const std::shared_ptr<KivLogEvent>& event, bool at_front) {
  Variant item(std::static_pointer_cast<Object>(event));
  bool failed =
      at_front && data.Count() > 0 ? data.AddBefore(item, Variant(int32_t{1})) : data.Add(item);
  if (failed) RaiseRecorded();
}

}  // namespace

bool ReadEventLog(const std::shared_ptr<KivLogInfo>& EvLog, int32_t& Start, int32_t Count,
                  const std::shared_ptr<KivLogFilter>& Filter, bool Backwards, bool Adjust) {
  LogFiles files;
  ScopedFileNumber data_file;  // the data file under a number, for the events' Load
  return Guard(
      u"KivLog.ReadEventLog", true,
      [&] {
        if (!EvLog || !EvLog->LogData()) Raise(kErrObjectNotSet);
        Collection& data = *EvLog->LogData();
        data.Clear();
        OpenLogFiles(*EvLog, files, true, false);
        IndexCursor index(files.index);
        const int32_t events = WrittenEvents(files, EvLog->Events(), nullptr, &index);
        std::optional<FilteredWalk> walk;
        if (Filter && Filter->Checks() != 0) {
          walk.emplace(files.data.Duplicate(), files.data_size, *Filter);
        }
        data_file.Reset(FileAdopt(std::move(files.data), FileMode::Input));
        EvLog->Events(events);
        if (events == 0) return false;
        if (Start > events) {
          if (!Backwards && !Adjust) return false;
          Start = events;
        }
        if (Start < 1) Raise(kErrBadRecordNumber);

        Walk at{Start, Backwards, Adjust, Backwards};
        int32_t gathered = 0;
        while (gathered < Count) {
          auto event = NextEvent(data_file.get(), index, at.ordinal, events, Filter.get(),
                                 walk ? &*walk : nullptr);
          if (event) {
            AddEvent(data, event, at.at_front);
            ++gathered;
          }
          if (!Advance(at, data, gathered, Count, Start, events)) break;
        }
        files.Close();
        data_file.Reset(0);
        return false;
      },
      [&] {
        files.Close();
        data_file.Reset(0);
      });
}

bool KivLog::EventLogRead(const std::shared_ptr<KivLogInfo>& EvLog, const int32_t& Start,
                          int32_t Count) {
  int32_t start = Start;
  return EventLogRead(EvLog, start, Count);
}

bool KivLog::EventLogRead(const std::shared_ptr<KivLogInfo>& EvLog, int32_t& Start, int32_t Count) {
  return ReadEventLog(EvLog, Start, Count, nullptr, false, false);
}

bool KivLog::EventLogReadBack(const std::shared_ptr<KivLogInfo>& EvLog, const int32_t& Start,
                              int32_t Count, bool Adjust) {
  int32_t start = Start;
  return EventLogReadBack(EvLog, start, Count, Adjust);
}

bool KivLog::EventLogReadBack(const std::shared_ptr<KivLogInfo>& EvLog, int32_t& Start,
                              int32_t Count, bool Adjust) {
  return ReadEventLog(EvLog, Start, Count, nullptr, true, Adjust);
}

bool KivLog::EventLogFilter(const std::shared_ptr<KivLogInfo>& EvLog, const int32_t& Start,
                            const std::shared_ptr<KivLogFilter>& Filter, int32_t Count) {
  int32_t start = Start;
  return EventLogFilter(EvLog, start, Filter, Count);
}

bool KivLog::EventLogFilter(const std::shared_ptr<KivLogInfo>& EvLog, int32_t& Start,
                            const std::shared_ptr<KivLogFilter>& Filter, int32_t Count) {
  return ReadEventLog(EvLog, Start, Count, Filter, false, false);
}

bool KivLog::EventLogFilterBack(const std::shared_ptr<KivLogInfo>& EvLog, const int32_t& Start,
                                const std::shared_ptr<KivLogFilter>& Filter, int32_t Count,
                                bool Adjust) {
  int32_t start = Start;
  return EventLogFilterBack(EvLog, start, Filter, Count, Adjust);
}

bool KivLog::EventLogFilterBack(const std::shared_ptr<KivLogInfo>& EvLog, int32_t& Start,
                                const std::shared_ptr<KivLogFilter>& Filter, int32_t Count,
                                bool Adjust) {
  return ReadEventLog(EvLog, Start, Count, Filter, true, Adjust);
}

}  // namespace kiv
