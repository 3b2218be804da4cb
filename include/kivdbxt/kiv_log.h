// KivLog: per-application daily logs, one data file (.ZLG) and one index file (.ZLI) per
// application and day, opened by AppId, written under an Id, read, filtered and purged.
#pragma once

#include <cstdint>
#include <memory>
#include <unordered_map>

#include "kivdbxt/collection.h"
#include "kivdbxt/constants.h"
#include "kivdbxt/export.h"
#include "kivdbxt/kiv_log_filter.h"
#include "kivdbxt/kiv_log_info.h"
#include "kivdbxt/types.h"

namespace kiv {

// An entry of KivLog's table of open logs (library-internal).
struct OpenLogEntry;

// Every operation that returns bool returns True when it failed; the error is then recorded
// (kiv::LastErrorRecord) with the operation's Source. Opening returns the Id 0 on failure.
class KIV_API KivLog : public Object {
 public:
  // A KivLog with no log open.
  KivLog();
  // Closes every log still open, each with its "Closed" marker.
  ~KivLog() override;
  KivLog(const KivLog&) = delete;
  KivLog& operator=(const KivLog&) = delete;

  // --- Names and files ---------------------------------------------------------------------
  // The default folder of all daily logs: the program-files folder + "/Q&V/Log".
  String LogDefaultPath() const;
  // The base name of AppId's log for the day of CurrDate (0 = now) in Path (empty = the default
  // folder, which the long form stores in the caller's Path). The folder is created if missing.
  String LogFileName(const String& AppId, const String& Path = String(), Date CurrDate = 0);
  String LogFileName(const String& AppId, String& Path, Date CurrDate = 0);
  // The extension of a log's data file, ".ZLG".
  String EXTLOGDATA() const { return u".ZLG"; }
  // The extension of a log's index file, ".ZLI".
  String EXTLOGINDEX() const { return u".ZLI"; }
  // Fills RetLogs with one KivLogInfo per index file of the folder (empty = the default folder).
  bool EventLogList(const std::shared_ptr<Collection>& RetLogs, const String& Path = String());
  // Moves the pair of files of LogName aside under LogName + "-NN" (the first free number).
  bool RenameLog(const String& LogName);

  // --- Open, write, close ------------------------------------------------------------------
  // Opens AppId's log of the day in a mode of EventLogOpen_Mode, writes the "Open" marker and
  // returns the log's Id (0 on failure). The long form stores the folder used in Path.
  int32_t EventLogOpenEx(const String& AppId, const String& Path = String(),
                         int32_t Mode = ELOF_OPENALWAYS, Date CurrDate = 0,
                         const String& Computer = String(), const String& User = String(),
                         int32_t MaxSize = 0);
  int32_t EventLogOpenEx(String& AppId, String& Path, int32_t Mode = ELOF_OPENALWAYS,
                         Date CurrDate = 0, const String& Computer = String(),
                         const String& User = String(), int32_t MaxSize = 0);
  int32_t EventLogOpen(const String& AppId, const String& Path = String(),
                       int32_t Mode = ELOF_OPENALWAYS, Date CurrDate = 0,
                       const String& Computer = String(), const String& User = String());
  int32_t EventLogOpen(String& AppId, String& Path, int32_t Mode = ELOF_OPENALWAYS,
                       Date CurrDate = 0, const String& Computer = String(),
                       const String& User = String());
  // Appends one event to the log of Id, moving to the new day's files after midnight unless the
  // log has KIVLIOPT_DONTCHANGEFILE.
  bool EventLogWrite(int32_t Id, const String& Source = String(), const String& RawData = String(),
                     int32_t RawDataType = RWDT_ASCII, int32_t EventType = EVENTLOG_WARNING_TYPE,
                     const String& Category = String(), int32_t EventId = 0,
                     const String& Server = String());
  // Appends every event of Events (a collection of KivLogEvent objects) to the log of Id, under
  // one lock of its files and one update of its index. An addition of this library for writers
  // of many events at once. Each event is written exactly as EventLogWrite(Id, EvSource,
  // EvRawData, EvDataType, EvType, EvCategory, EvId, EvServer) would write it, with its own
  // ordinal, record and EvUnk, the log's Computer and User and the time of the call; the other
  // fields of the items are not used and the items are not changed. An item that is not a
  // KivLogEvent fails the call before anything is written. When the data file passes MaxSize
  // part way, the events before that point are written and the call fails as EventLogWrite
  // would. Error Source "KivLog.EventLogWriteBatch".
  bool EventLogWriteBatch(int32_t Id, const std::shared_ptr<Collection>& Events);
  // Writes the "Closed" marker and forgets Id.
  bool EventLogClose(int32_t Id);
  // Sets EvLog to a snapshot (CopyTo) of the descriptor of Id.
  bool EventLogInfo(int32_t Id, std::shared_ptr<KivLogInfo>& EvLog);
  // The size limit in bytes of the data file of the open log Id (0: none). An unknown Id records
  // "Eventlog not started." (the getter then answers 0), here and in EventLogOptions.
  int32_t EventLogMaxSize(int32_t Id);
  void EventLogMaxSize(int32_t Id, int32_t value);
  // The KivLogInfo_Options flags of the open log Id.
  int32_t EventLogOptions(int32_t Id);
  void EventLogOptions(int32_t Id, int32_t value);

  // --- Reading -----------------------------------------------------------------------------
  // Every read fills EvLog's LogData with up to Count events in ascending ordinal order and sets
  // EvLog's Events. Ordinals count from 1. Start beyond the log's end: a forward read gives
  // nothing; a backward read starts at the last event (the long forms store it in the caller's
  // Start). Adjust completes a backward page that runs off the first event with the events after
  // the page.

  // Reads up to Count events of the log EvLog from the ordinal Start on.
  bool EventLogRead(const std::shared_ptr<KivLogInfo>& EvLog, const int32_t& Start,
                    int32_t Count = 1);
  bool EventLogRead(const std::shared_ptr<KivLogInfo>& EvLog, int32_t& Start, int32_t Count = 1);
  // Reads up to Count events of the log EvLog backwards from the ordinal Start.
  bool EventLogReadBack(const std::shared_ptr<KivLogInfo>& EvLog, const int32_t& Start,
                        int32_t Count = 1, bool Adjust = false);
  bool EventLogReadBack(const std::shared_ptr<KivLogInfo>& EvLog, int32_t& Start, int32_t Count = 1,
                        bool Adjust = false);
  // Reads up to Count events that pass Filter, from the ordinal Start on.
  bool EventLogFilter(const std::shared_ptr<KivLogInfo>& EvLog, const int32_t& Start,
                      const std::shared_ptr<KivLogFilter>& Filter, int32_t Count = 1);
  bool EventLogFilter(const std::shared_ptr<KivLogInfo>& EvLog, int32_t& Start,
                      const std::shared_ptr<KivLogFilter>& Filter, int32_t Count = 1);
  // Reads up to Count events that pass Filter, backwards from the ordinal Start.
  bool EventLogFilterBack(const std::shared_ptr<KivLogInfo>& EvLog, const int32_t& Start,
                          const std::shared_ptr<KivLogFilter>& Filter, int32_t Count = 1,
                          bool Adjust = false);
  bool EventLogFilterBack(const std::shared_ptr<KivLogInfo>& EvLog, int32_t& Start,
                          const std::shared_ptr<KivLogFilter>& Filter, int32_t Count = 1,
                          bool Adjust = false);

  // --- Purging -----------------------------------------------------------------------------
  // Removes the current day's files of the open log Id and forgets Id (no "Closed" marker).
  bool EventLogPurge(int32_t Id = 0);
  // Removes every log of the folder (of AppId only, when given) whose day is before Before's day.
  bool EventLogPurgeEx(const Date& Before, const String& AppId = String(),
                       const String& Path = String());
  bool EventLogPurgeEx(Date& Before, const String& AppId = String(), const String& Path = String());

 private:
  // The descriptor of an open log; raises "Eventlog not started." for an unknown Id.
  std::shared_ptr<KivLogInfo> FindLog(int32_t Id) const;
  // The whole entry of an open log in the table.
  OpenLogEntry& FindEntry(int32_t Id) const;
  // Enter a descriptor in the table of open logs, or take one out.
  void AddLog(int32_t Id, const std::shared_ptr<KivLogInfo>& info);
  void RemoveLog(int32_t Id);

  // The table of open logs: descriptors keyed by their unk, in the order opened.
  std::shared_ptr<Collection> logs_;
  // The same descriptors by Id, for the lookup every write makes.
  std::unordered_map<int32_t, std::unique_ptr<OpenLogEntry>> by_id_;
};

}  // namespace kiv
