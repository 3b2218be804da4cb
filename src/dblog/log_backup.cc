// KivLogFile: copying records into a backup log, as a database or as text.
#include "dblog/log_backup.h"

#include "dblog/log_record.h"
#include "dblog/log_schema.h"
#include "frame/error.h"
#include "frame/guard.h"
#include "kivdbxt/dao.h"
#include "kivdbxt/kiv_log_event.h"
#include "kivdbxt/kiv_log_file.h"
#include "kivdbxt/qv_db_xt_mod.h"
#include "platform/file_table.h"
#include "platform/fs.h"

namespace kiv {
namespace {

// A daily-log event holding a record, for the text form of a backup.
KivLogEvent AsEvent(const LOGRECORDTYPE& rec) {
  KivLogEvent e;
  e.EvUnk(rec.EvUnk);
  e.EvDate(rec.EvDate);
  e.EvType(rec.EvType);
  e.EvCategory(rec.EvCategory);
  e.EvId(rec.EvId);
  e.EvUser(rec.EvUser);
  e.EvComputer(rec.EvComputer);
  e.EvSource(rec.EvSource);
  e.EvServer(rec.EvServer);
  // The stored type letter becomes the data type; the text after it is the raw data.
  const bool letter =
      !rec.EvRawData.empty() && (rec.EvRawData[0] == u'A' || rec.EvRawData[0] == u'B');
  e.EvRawData(letter ? rec.EvRawData.substr(1) : rec.EvRawData);
  e.TranslateData();  // text mode: cleans the fields so the block stays aligned
  if (letter && rec.EvRawData[0] == u'B') e.EvDataType(RWDT_BINARY);
  return e;
}

}  // namespace

BackupTarget::BackupTarget(const String& file_name) {
  try {
    if (!FileExists(file_name)) {
      KivLogFile created;
      Check(created.CreateEventLog(file_name, 1000, KLFWM_DONTOVERWRITE, 7, String()));
    }
    db_ = dao::DBEngine::ForThread()->OpenDatabase(file_name, false, false);
    events_ = db_->OpenRecordset(kEventsTable, dao::dbOpenTable, 0, dao::dbOptimistic);
  } catch (...) {
    RunCleanup([&] {
      QvDbXtMod::Close_Recordset(events_);
      QvDbXtMod::Close_Db(db_);
    });
    RaiseLibrary(u"Impossibile accedere/creare il file " + file_name);
  }
}

BackupTarget::~BackupTarget() {
  RunCleanup([&] {
    QvDbXtMod::Close_Recordset(events_);
    QvDbXtMod::Close_Db(db_);
  });
}

void BackupTarget::Append(const LOGRECORDTYPE& rec) { AppendLogRecord(*events_, rec); }

bool KivLogFile::BackupRecord(dao::Recordset& rs, BackupTarget& target) {
  return Guard(u"KivLogFile.BackupRecord", true, [&] {
    target.Append(ReadLogRecord(rs));
    return false;
  });
}

bool KivLogFile::BackupEventLog(const String& sFileName, int32_t Flags) {
  std::shared_ptr<dao::Recordset> rs;
  int32_t text = 0;
  return Guard(
      u"KivLogFile.BackupEventLog", true,
      [&] {
        std::unique_ptr<BackupTarget> target;
        if (Flags & ELRC_BACKUPASTEXT) {
          text = FileOpenNext(sFileName, FileMode::Append, ShareLock::Exclusive);
        } else {
          target = std::make_unique<BackupTarget>(sFileName);
        }
        auto put = [&](const LOGRECORDTYPE& rec) {
          if (target) {
            target->Append(rec);
          } else {
            KivLogEvent e = AsEvent(rec);
            PassOn(e.Save(text));
          }
        };
        if (Flags & ELRC_BACKUPCURRENTREC) {
          put(record_);
        } else {
          PassOn(OpenLog(false));
          rs = db_->OpenRecordset(
              String(u"select * from ") + kEventsTable + u" order by " + DateOrder(*db_),
              dao::dbOpenDynaset);
          for (; !rs->EOF_(); rs->MoveNext()) put(ReadLogRecord(*rs));
          QvDbXtMod::Close_Recordset(rs);
          PassOn(CloseLog(false));
        }
        FileClose(text);
        return false;
      },
      [&] {
        FileClose(text);
        QvDbXtMod::Close_Recordset(rs);
        CloseLog(false);
      });
}

bool KivLogFile::Backup(const String& sFileName) {
  return Guard(u"KivLogFile.Backup", true, [&] {
    PassOn(BackupEventLog(sFileName, 0));
    return false;
  });
}

}  // namespace kiv
