// KivLogFile: an event log kept in a database file, with wrapping by count or age, purging,
// backup, reading and change notification.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <vector>

#include "kivdbxt/constants.h"
#include "kivdbxt/export.h"
#include "kivdbxt/types.h"

namespace kiv {

namespace dao {
class Database;
class Recordset;
}  // namespace dao
class BackupTarget;

class KIV_API KivLogFile : public Object {
 public:
  // A KivLogFile with no log open.
  KivLogFile();
  ~KivLogFile() override;
  KivLogFile(const KivLogFile&) = delete;
  KivLogFile& operator=(const KivLogFile&) = delete;

  // ---- the file and its settings ----
  // Creates the log file sFileName with its settings and writes "Event Log Created".
  bool CreateEventLog(const String& sFileName, int32_t lMaxRecords = 1000,
                      int32_t eWrapping = KLFWM_OVERWRITEOLDER, int32_t lWrappingDays = 7,
                      const String& sBacupkFile = String());
  // Opens the log file sFileName and writes "Event Log Started"; with bKeepAlive the database
  // stays open between calls.
  bool OpenEventLog(const String& sFileName, bool bKeepAlive = false);
  // An addition of this library: opens the log for reading only. It writes nothing to the file
  // (no "Event Log Started" record, no LASTCHANGE) and works on a file its user may only read.
  // The reads, CheckEventLogChanges, the *Get settings and BackupEventLog work as after
  // OpenEventLog; ReportEvent, ReportEventEx, PurgeEventLog, Purge, CompactEventLog and the *Set
  // settings are refused: they return True with error 20000 "Il file " + name + " è aperto in
  // sola lettura.". CloseEventLog closes it without writing "Event Log Closed". The next
  // CreateEventLog or OpenEventLog opens for writing again.
  bool OpenEventLogReadOnly(const String& sFileName, bool bKeepAlive = false);
  // Writes "Event Log Closed" and closes the log.
  bool CloseEventLog();
  // Closes the log, compacts its file in place and opens it again.
  bool CompactEventLog();
  // The log given to CreateEventLog or OpenEventLog: a file, or a server URI shown without its
  // password.
  String FileName() const;
  // True after OpenEventLogReadOnly.
  bool ReadOnly() const { return read_only_; }
  // True keeps the database open between calls; setting it False closes an idle one at once.
  bool KeepAlive() const { return keep_alive_; }
  void KeepAlive(bool value);
  // Sets, or gets into sFileName, the log that wrapping copies the records it removes to.
  bool BackupFileSet(const String& sFileName);
  bool BackupFileGet(String& sFileName);
  // Sets, or gets into lMaxRecords, the number of records that makes wrapping by count trim the
  // log (at least 100).
  bool MaxRecordsSet(int32_t lMaxRecords);
  bool MaxRecordsGet(int32_t& lMaxRecords);
  // Sets, or gets, the wrapping policy (KivLogWrapping) and, for KLFWM_OVERWRITEOLDER, the age
  // in days of the records it removes.
  bool WrappingSet(int32_t lWrapping, int32_t lWrappingDays);
  bool WrappingGet(int32_t& lWrapping, int32_t& lWrappingDays);
  // Sets, or gets, how the file keeps its commits: "NORMAL", "FULL" or "ROLLBACK". An addition
  // of this library, stored in PARMS under the key SYNC (no row: "NORMAL"). Every report is one
  // transaction (the trim, the record and LASTCHANGE together), so a crash never leaves half of
  // one.
  //   "NORMAL"   WAL journal, no sync per commit: a crash of the process loses nothing that was
  //              reported; a loss of power may lose the reports of the last moments, never the
  //              file.
  //   "FULL"     WAL journal, a sync per commit: a report that returned survives a power loss.
  //   "ROLLBACK" rollback journal, a sync per commit: for file systems without shared memory
  //              (network shares), where WAL cannot work; the slowest.
  // Any other text fails with 20000 "Errore nel parametro SyncMode.". The journal changes when no
  // other process has the file open, else at the next writable open.
  bool SyncModeSet(const String& sMode);
  bool SyncModeGet(String& sMode);

  // ---- reporting and purging ----
  // Stores one event, wrapping the log first as its settings say, and raises EventLogChanged.
  // ReportEventEx marks the raw data as text or binary (RawDataType). An empty User or Computer
  // is replaced by the current user's or computer's name; the long forms write the names used
  // back into the caller's variables.
  bool ReportEvent(const String& Source, const String& RawData,
                   int32_t EventType = EVENTLOG_WARNING_TYPE, const String& Category = String(),
                   int32_t EventId = 0, const String& User = String(),
                   const String& Computer = String(), const String& Server = String());
  bool ReportEvent(const String& Source, const String& RawData, int32_t EventType,
                   const String& Category, int32_t EventId, String& User, String& Computer,
                   const String& Server);
  bool ReportEventEx(const String& Source, const String& RawData, int32_t RawDataType,
                     int32_t EventType = EVENTLOG_WARNING_TYPE, const String& Category = String(),
                     int32_t EventId = 0, const String& User = String(),
                     const String& Computer = String(), const String& Server = String());
  bool ReportEventEx(const String& Source, const String& RawData, int32_t RawDataType,
                     int32_t EventType, const String& Category, int32_t EventId, String& User,
                     String& Computer, const String& Server);
  // Removes the oldest Records records, or those older than Days days, or (SubSet, a where
  // clause) those it selects; 0 and 0 apply the wrapping policy. The records go to the backup
  // file first when one is set.
  bool PurgeEventLog(int32_t Records = 0, int32_t Days = 0, const String& SubSet = String());
  // PurgeEventLog(Records, Days) without a SubSet.
  bool Purge(int32_t Records = 0, int32_t Days = 0);

  // ---- backup ----
  // Copies every record, in date order, into sFileName (an event log created when missing);
  // ELRC_BACKUPCURRENTREC copies only the current record of the last read; ELRC_BACKUPASTEXT
  // appends the records as text blocks of the daily data file's form.
  bool BackupEventLog(const String& sFileName, int32_t Flags = 0);
  // BackupEventLog(sFileName) with no flags.
  bool Backup(const String& sFileName);

  // ---- reading ----
  // The SQL query that selects the records a read with these arguments would see.
  String ReadEventLogQueryStr(int32_t Flags = ELREF_FIRST, int32_t RecordPos = 0,
                              const String& SubSet = String(), const String& OrderBy = String());
  // Reads the record that Flags (ReadEventLogFlags) and RecordPos select into LogRecord: 0 read,
  // 1 no record, -1 error. RecordPos is written back.
  int32_t ReadEventLog(int32_t Flags, int32_t& RecordPos, const String& SubSet = String(),
                       const String& OrderBy = String());
  int32_t ReadEventLog(int32_t Flags = ELREF_FIRST);
  // Reads a block of up to MaxRecords records into LogRecordEx: 0 read, 1 no record, -1 error.
  // RecordPos and MaxRecords (the number read) are written back.
  int32_t ReadEventLogEx(int32_t Flags, int32_t& RecordPos, const String& SubSet,
                         const String& OrderBy, int32_t& MaxRecords);
  // The record of the last ReadEventLog.
  LOGRECORDTYPE LogRecord() const { return record_; }
  // Element RecNum (1-based) of the block of the last ReadEventLogEx; out of bounds records
  // error 9 and gives an empty record.
  LOGRECORDTYPE LogRecordEx(int32_t RecNum) const;
  // Whether the log changed since unk was read: 0 unchanged, 1 changed, -1 error; unk receives
  // the current LASTCHANGE.
  int32_t CheckEventLogChanges(int32_t& unk);

  // ---- Following a log (additions of this library) ----
  // Waits up to TimeoutMs for a change of LASTCHANGE away from unk (a report or purge by any
  // process), or for a record newer than the last one ReadEventLogAfter gave this object: two
  // reports in one millisecond leave the same LASTCHANGE, and the second must still wake a
  // follower. 1 changed, 0 no change in time, -1 error; unk receives the current LASTCHANGE.
  // On a SQLite file it checks every few milliseconds.
  int32_t WaitEventLogChanges(int32_t TimeoutMs, int32_t& unk);
  // Reads the records added after the record of id LastId, oldest first, up to MaxRecords of
  // them into the block LogRecordEx reads; LastId becomes the id of the last one read and
  // MaxRecords their number. A record's id is its row id, given in commit order, so a follower
  // that reads on from the last id it saw misses none. With LastId below 0 nothing is read and
  // LastId becomes the newest id (follow from now on). When every record after LastId is gone
  // and the log's ids started again below it (the log was emptied), reading starts from the
  // first record. 0 read, 1 no record, -1 error.
  int32_t ReadEventLogAfter(int64_t& LastId, int32_t& MaxRecords);

  // ---- EventLogChanged ----
  // Raised on the reporting thread after a record is stored, unless suppressed.
  using ChangeHandler = std::function<void(int32_t EvUnk, int32_t EvType, int32_t EvId)>;
  // Calls handler(EvUnk, EvType, EvId) after each record this object stores; returns the token
  // that UnsubscribeEventLogChanged takes.
  int64_t SubscribeEventLogChanged(ChangeHandler handler);
  // Stops the calls of the handler subscribed under token.
  void UnsubscribeEventLogChanged(int64_t token);

  // How long OpenLog waits between its attempts to open the database (2000 ms); tests shorten it.
  void RetryWaitMilliseconds(int32_t ms) { retry_wait_ms_ = ms; }

 private:
  struct Counter {
    int32_t value = 0;
    void Step(bool up) { value = up ? value + 1 : (value > 0 ? value - 1 : 0); }
    bool Active() const { return value >= 1; }
  };

  bool OpenLog(bool bDbOnly);
  bool CloseLog(bool bForce);
  dao::Recordset& SeekParm(const String& Key);
  // Without a row for Key: fallback when given, else error 20000.
  bool ParmRead(const String& Key, String& Value,
                const std::optional<String>& fallback = std::nullopt);
  bool ParmRead(const String& Key, int32_t& Value);
  bool ParmWrite(const String& Key, const String& Value);
  bool ReadSettings();
  void RefuseWhenReadOnly() const;
  bool UpdateLastLog(int32_t lUnk);
  bool PurgeLock();
  bool PurgeUnlock();
  // The purge proper, inside the caller's transaction. True when a backup failed (recorded);
  // raises on other failures.
  bool Trim(int32_t Records, int32_t Days, const String& SubSet);
  bool BackupRecord(dao::Recordset& rs, BackupTarget& target);
  bool Report(const String& Source, const String& StoredRawData, int32_t EventType,
              const String& Category, int32_t EventId, String& User, String& Computer,
              const String& Server, const char16_t* source);
  void RaiseChanged(int32_t unk, int32_t type, int32_t id);
  bool RecordRead(dao::Recordset& rs, LOGRECORDTYPE& rec);
  // The id of the newest record, 0 for none; the log is open.
  int64_t NewestId();
  // Opens the reading query, positions it by Flags and, when a record is there, hands the
  // recordset to read. 0 read, 1 no record; raises on failure.
  int32_t ReadQuery(int32_t Flags, int32_t& RecordPos, const String& SubSet, const String& OrderBy,
                    bool absolute_allowed, const std::function<void(dao::Recordset&)>& read);

  std::shared_ptr<dao::Database> db_;
  std::shared_ptr<dao::Recordset> events_;
  std::shared_ptr<dao::Recordset> purge_rs_;
  std::shared_ptr<dao::Recordset> parms_;
  String file_name_;
  bool keep_alive_ = false;
  bool read_only_ = false;
  String sync_mode_ = u"NORMAL";
  int32_t wrapping_ = 7;
  int32_t max_records_ = 1000;
  String backup_file_;
  Counter in_use_, no_purge_, no_notify_;
  LOGRECORDTYPE record_;
  std::vector<LOGRECORDTYPE> block_;
  int64_t followed_id_ = -1;  // the last id ReadEventLogAfter gave; -1 before it did
  std::map<int64_t, ChangeHandler> handlers_;
  int64_t next_token_ = 1;
  int32_t retry_wait_ms_ = 2000;
};

}  // namespace kiv
