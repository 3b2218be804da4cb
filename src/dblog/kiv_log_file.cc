// KivLogFile: the file's lifecycle (create, open, close, compact), the parameter store and the
// settings built on it.
#include "kivdbxt/kiv_log_file.h"

#include "dao/dao_errors.h"
#include "dao/engine/engine.h"
#include "dblog/log_connections.h"
#include "dblog/log_parms.h"
#include "dblog/log_schema.h"
#include "dblog/log_store.h"
#include "dblog/log_sync.h"
#include "dblog/log_transaction.h"
#include "frame/error.h"
#include "frame/factory.h"
#include "frame/guard.h"
#include "kivdbxt/dao.h"
#include "kivdbxt/qv_db_xt_mod.h"
#include "platform/clock.h"
#include "platform/fs.h"
#include "platform/text_compare.h"
#include "platform/vb_convert.h"

namespace kiv {
namespace {

const ClassRegistrar kRegistrar(u"KivLogFile", [] {
  return std::static_pointer_cast<Object>(std::make_shared<KivLogFile>());
});

constexpr int32_t kOpenAttempts = 10;

bool OnServer(const String& name) { return dao::engine::IsServerName(ToUtf8(name)); }
constexpr int32_t kMinMaxRecords = 100;
constexpr size_t kMaxParmLength = 255;

// Waits by polling the tick counter, as the log's open retry does.
void WaitTicks(int32_t ms) {
  const uint32_t start = TickCount();
  while (static_cast<int32_t>(TickCount() - start) < ms) SleepMilliseconds(1);
}

}  // namespace

KivLogFile::KivLogFile() = default;

KivLogFile::~KivLogFile() { CloseLog(true); }

String KivLogFile::FileName() const { return ShownLogName(file_name_); }

bool KivLogFile::OpenLog(bool bDbOnly) {
  return Guard(
      u"KivLogFile.OpenLog", true,
      [&] {
        for (int32_t attempt = 1; !db_; ++attempt) {
          try {
            log_connections::Handles kept = log_connections::Take(file_name_, read_only_, [&] {
              return dao::DBEngine::ForThread()->OpenDatabase(file_name_, false, read_only_);
            });
            db_ = std::move(kept.db);
            events_ = std::move(kept.events);
            parms_ = std::move(kept.parms);
            ApplySyncMode(*db_, ParseSyncMode(sync_mode_).value_or(SyncMode::Normal), false);
          } catch (const Error& e) {
            QvDbXtMod::Close_Db(db_);
            // A server is tried again only when it could not be reached (it may be starting, or
            // out of connections): a refused password or a missing database fail at once.
            const bool can_pass = !OnServer(file_name_) || e.number == dao::kDaoConnectFailed;
            if (attempt >= kOpenAttempts || !can_pass) throw;
            WaitTicks(retry_wait_ms_);
          } catch (...) {
            QvDbXtMod::Close_Db(db_);
            if (attempt >= kOpenAttempts) throw;
            WaitTicks(retry_wait_ms_);
          }
        }
        if (!events_ && !bDbOnly) {
          events_ = db_->OpenRecordset(kEventsTable, dao::dbOpenTable, 0, dao::dbOptimistic);
        }
        return false;
      },
      [&] { CloseLog(true); });
}

bool KivLogFile::CloseLog(bool bForce) {
  return Guard(u"KivLogFile.CloseLog", true, [&] {
    if (!((!in_use_.Active() || bForce) && (!keep_alive_ || bForce))) return false;
    bool failed = QvDbXtMod::Close_Recordset(purge_rs_);
    if (!bForce && !failed && db_) {
      // Per call, but not a new connection per call: the next call takes this one back, with
      // the table recordsets it had open.
      log_connections::Keep(file_name_, read_only_,
                            {std::move(db_), std::move(events_), std::move(parms_)});
      return false;
    }
    failed = QvDbXtMod::Close_Recordset(events_) || failed;
    failed = QvDbXtMod::Close_Recordset(parms_) || failed;
    failed = QvDbXtMod::Close_Db(db_) || failed;
    log_connections::Release(file_name_);
    if (bForce) in_use_.value = 0;
    if (failed) RaiseRecorded();
    return false;
  });
}

dao::Recordset& KivLogFile::SeekParm(const String& Key) {
  // Kept while the database is open: opening PARMS anew for every parameter would cost more than
  // the read or write itself.
  if (!parms_) {
    parms_ = db_->OpenRecordset(kParmsTable, dao::dbOpenTable);
    parms_->Index(kKeyIndex);
  }
  parms_->Seek(u"=", Variant(Key));
  return *parms_;
}

bool KivLogFile::ParmRead(const String& Key, String& Value, const std::optional<String>& fallback) {
  return Guard(
      u"KivLogFile.ParmRead", true,
      [&] {
        PassOn(OpenLog(false));
        dao::Recordset& rs = SeekParm(Key);
        if (rs.NoMatch() && fallback) {
          Value = *fallback;
          PassOn(CloseLog(false));
          return false;
        }
        if (rs.NoMatch()) RaiseLibrary(u"Il parametro " + Key + u"non esiste.");
        Variant v = rs.Fields()[u"VALUE"]->Value();
        Value = v.IsNull() ? String() : CStr(v);
        PassOn(CloseLog(false));
        return false;
      },
      [&] { CloseLog(false); });
}

bool KivLogFile::ParmRead(const String& Key, int32_t& Value) {
  String text;
  return Guard(u"KivLogFile.ParmRead", true, [&] {
    PassOn(ParmRead(Key, text));
    Value = CLng(Variant(text));
    return false;
  });
}

bool KivLogFile::ParmWrite(const String& Key, const String& Value) {
  return Guard(
      u"KivLogFile.ParmWrite", true,
      [&] {
        if (Value.size() > kMaxParmLength) {
          RaiseLibrary(u"Il valore del  parametro eccede la dimensione massima.");
        }
        RefuseWhenReadOnly();
        PassOn(OpenLog(false));
        {
          // Look up and add as one step: two processes writing a new key make one row, not two.
          LogTransaction tx(*db_);
          WriteParm(*db_->Connection(), Key, Value);
          tx.Commit();
        }
        PassOn(CloseLog(false));
        return false;
      },
      [&] { CloseLog(false); });
}

void KivLogFile::RefuseWhenReadOnly() const {
  if (read_only_) RaiseLibrary(u"Il file " + FileName() + u" è aperto in sola lettura.");
}

bool KivLogFile::CreateEventLog(const String& sFileName, int32_t lMaxRecords, int32_t eWrapping,
                                int32_t lWrappingDays, const String& sBacupkFile) {
  bool created = false;
  return Guard(
      u"KivLogFile.CreateEventLog", true,
      [&] {
        if (LogExists(sFileName))
          RaiseLibrary(u"Il file " + ShownLogName(sFileName) + u" esiste già.");
        CloseLog(true);
        read_only_ = false;
        file_name_ = sFileName;
        sync_mode_ = SyncModeText(SyncMode::Normal);
        db_ = CreateLogDatabase(sFileName);
        ApplySyncMode(*db_, SyncMode::Normal, true);
        created = true;
        keep_alive_ = true;
        PassOn(MaxRecordsSet(lMaxRecords));
        PassOn(WrappingSet(eWrapping, lWrappingDays));
        PassOn(BackupFileSet(sBacupkFile));
        no_notify_.Step(true);
        bool failed = ReportEvent(kSelfSource, u"AEvent Log Created", EVENTLOG_INFORMATION_TYPE);
        no_notify_.Step(false);
        PassOn(failed);
        keep_alive_ = false;
        PassOn(CloseLog(false));
        return false;
      },
      [&] {
        keep_alive_ = false;
        CloseLog(true);
        if (created) RemoveLog(sFileName);
      });
}

bool KivLogFile::OpenEventLog(const String& sFileName, bool bKeepAlive) {
  return Guard(
      u"KivLogFile.OpenEventLog", true,
      [&] {
        CloseLog(true);
        read_only_ = false;
        keep_alive_ = bKeepAlive;
        file_name_ = sFileName;
        PassOn(ReadSettings());
        no_notify_.Step(true);
        bool failed =
            ReportEvent(kSelfSource, u"AEvent Log Started", EVENTLOG_INFORMATION_TYPE, String(), 1);
        no_notify_.Step(false);
        PassOn(failed);
        return false;
      },
      [&] { CloseLog(true); });
}

bool KivLogFile::OpenEventLogReadOnly(const String& sFileName, bool bKeepAlive) {
  return Guard(
      u"KivLogFile.OpenEventLogReadOnly", true,
      [&] {
        CloseLog(true);
        read_only_ = true;
        keep_alive_ = bKeepAlive;
        file_name_ = sFileName;
        PassOn(ReadSettings());
        PassOn(CloseLog(false));
        return false;
      },
      [&] { CloseLog(true); });
}

bool KivLogFile::ReadSettings() {
  in_use_.Step(true);  // one open of the database for all the reads
  bool failed = ParmRead(u"WRAPPING", wrapping_) || ParmRead(u"MAXRECORDS", max_records_) ||
                ParmRead(u"BACKUPFILE", backup_file_) ||
                ParmRead(u"SYNC", sync_mode_, String(u"NORMAL"));
  // A writable open also puts the file in the journal its mode asks for (logs made before the
  // WAL journal move to it here).
  failed = failed || Guard(u"KivLogFile.OpenLog", true, [&] {
             ApplySyncMode(*db_, ParseSyncMode(sync_mode_).value_or(SyncMode::Normal), !read_only_);
             return false;
           });
  in_use_.Step(false);
  return failed;
}

bool KivLogFile::CloseEventLog() {
  return Guard(
      u"KivLogFile.CloseEventLog", true,
      [&] {
        if (db_ && !read_only_) {
          no_purge_.Step(true);
          no_notify_.Step(true);
          bool failed = ReportEvent(kSelfSource, u"AEvent Log Closed", EVENTLOG_INFORMATION_TYPE);
          no_purge_.Step(false);
          no_notify_.Step(false);
          PassOn(failed);
        }
        PassOn(CloseLog(true));
        return false;
      },
      [&] { CloseLog(true); });
}

bool KivLogFile::CompactEventLog() {
  return Guard(u"KivLogFile.CompactEventLog", true, [&] {
    RefuseWhenReadOnly();
    const String name = file_name_;
    const bool keep = keep_alive_;
    Check(CloseEventLog());
    String db_name = name;
    Check(QvDbXtMod::Db_Compact(db_name));
    Check(OpenEventLog(name, keep));
    return false;
  });
}

void KivLogFile::KeepAlive(bool value) {
  keep_alive_ = value;
  CloseLog(false);
}

bool KivLogFile::MaxRecordsSet(int32_t lMaxRecords) {
  return Guard(u"KivLogFile.MaxRecordsSet", true, [&] {
    if (lMaxRecords < kMinMaxRecords) {
      RaiseLibrary(u"Errore nel parametro MaxRecords: Valore minimo=" + IntText(kMinMaxRecords));
    }
    max_records_ = lMaxRecords;
    PassOn(ParmWrite(u"MAXRECORDS", IntText(max_records_)));
    return false;
  });
}

bool KivLogFile::MaxRecordsGet(int32_t& lMaxRecords) {
  return Guard(u"KivLogFile.MaxRecordsGet", true, [&] {
    PassOn(ParmRead(u"MAXRECORDS", lMaxRecords));
    max_records_ = lMaxRecords;
    return false;
  });
}

bool KivLogFile::WrappingSet(int32_t lWrapping, int32_t lWrappingDays) {
  return Guard(u"KivLogFile.WrappingSet", true, [&] {
    int32_t stored;
    if (lWrapping == KLFWM_DONTOVERWRITE || lWrapping == KLFWM_OVERWRITEASNEEDED) {
      stored = lWrapping;
    } else if (lWrapping == KLFWM_OVERWRITEOLDER) {
      if (lWrappingDays < 1) RaiseLibrary(u"Errore nel parametro WrappingDays.");
      stored = lWrappingDays;
    } else {
      RaiseLibrary(u"Errore nel parametro Wrapping.");
    }
    wrapping_ = stored;
    PassOn(ParmWrite(u"WRAPPING", IntText(wrapping_)));
    return false;
  });
}

bool KivLogFile::WrappingGet(int32_t& lWrapping, int32_t& lWrappingDays) {
  return Guard(u"KivLogFile.WrappingGet", true, [&] {
    PassOn(ParmRead(u"WRAPPING", wrapping_));
    if (wrapping_ < 1) {
      lWrapping = wrapping_;
      lWrappingDays = 0;
    } else {
      lWrapping = KLFWM_OVERWRITEOLDER;
      lWrappingDays = wrapping_;
    }
    return false;
  });
}

bool KivLogFile::BackupFileSet(const String& sFileName) {
  return Guard(u"KivLogFile.BackupFileSet", true, [&] {
    backup_file_ = sFileName;
    PassOn(ParmWrite(u"BACKUPFILE", backup_file_));
    return false;
  });
}

bool KivLogFile::BackupFileGet(String& sFileName) {
  return Guard(u"KivLogFile.BackupFileGet", true, [&] {
    PassOn(ParmRead(u"BACKUPFILE", sFileName));
    backup_file_ = sFileName;
    return false;
  });
}

bool KivLogFile::SyncModeSet(const String& sMode) {
  return Guard(
      u"KivLogFile.SyncModeSet", true,
      [&] {
        const std::optional<SyncMode> mode = ParseSyncMode(sMode);
        if (!mode) RaiseLibrary(u"Errore nel parametro SyncMode.");
        PassOn(ParmWrite(u"SYNC", SyncModeText(*mode)));
        sync_mode_ = SyncModeText(*mode);
        PassOn(OpenLog(false));
        ApplySyncMode(*db_, *mode, true);
        PassOn(CloseLog(false));
        return false;
      },
      [&] { CloseLog(false); });
}

bool KivLogFile::SyncModeGet(String& sMode) {
  return Guard(u"KivLogFile.SyncModeGet", true, [&] {
    PassOn(ParmRead(u"SYNC", sMode, String(u"NORMAL")));
    sync_mode_ = sMode;
    return false;
  });
}

}  // namespace kiv
