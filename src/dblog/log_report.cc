// KivLogFile: reporting events, the wrapping policy and purging, the LASTCHANGE mark and the
// EventLogChanged notification.
#include "dao/connection.h"
#include "dblog/log_backup.h"
#include "dblog/log_insert.h"
#include "dblog/log_report_pipeline.h"
#include "dblog/log_schema.h"
#include "dblog/log_transaction.h"
#include "frame/error.h"
#include "frame/guard.h"
#include "kivdbxt/dao.h"
#include "kivdbxt/kiv_log_file.h"
#include "kivdbxt/qv_db_xt_mod.h"
#include "platform/clock.h"
#include "platform/date.h"
#include "platform/system.h"
#include "platform/vb_convert.h"

namespace kiv {
namespace {

constexpr int32_t kWrapBatch = 100;  // overwrite-as-needed trims this many oldest at a time

// When the wrapping step of a report trims the log (never while purges are held off).
TrimRule TrimRuleOf(bool purges_held, int32_t wrapping, int32_t max_records) {
  TrimRule rule;
  if (purges_held) return rule;
  if (wrapping == KLFWM_OVERWRITEASNEEDED) {
    rule.kind = TrimRule::Kind::kCount;
    rule.max_records = max_records;
  } else if (wrapping >= 1) {
    // A record is trimmed when it is Wrapping calendar days old or more: one dated from the
    // start of the day Wrapping - 1 days ago is not.
    rule.kind = TrimRule::Kind::kAge;
    rule.keep_from = DateOnly(Now()) - wrapping + 1;
  }
  return rule;
}

}  // namespace

bool KivLogFile::ReportEvent(const String& Source, const String& RawData, int32_t EventType,
                             const String& Category, int32_t EventId, const String& User,
                             const String& Computer, const String& Server) {
  String user = User, computer = Computer;
  return ReportEvent(Source, RawData, EventType, Category, EventId, user, computer, Server);
}

bool KivLogFile::ReportEvent(const String& Source, const String& RawData, int32_t EventType,
                             const String& Category, int32_t EventId, String& User,
                             String& Computer, const String& Server) {
  return Report(Source, RawData, EventType, Category, EventId, User, Computer, Server,
                u"KivLogFile.ReportEvent");
}

bool KivLogFile::ReportEventEx(const String& Source, const String& RawData, int32_t RawDataType,
                               int32_t EventType, const String& Category, int32_t EventId,
                               const String& User, const String& Computer, const String& Server) {
  String user = User, computer = Computer;
  return ReportEventEx(Source, RawData, RawDataType, EventType, Category, EventId, user, computer,
                       Server);
}

bool KivLogFile::ReportEventEx(const String& Source, const String& RawData, int32_t RawDataType,
                               int32_t EventType, const String& Category, int32_t EventId,
                               String& User, String& Computer, const String& Server) {
  const String stored = (RawDataType == RWDT_ASCII ? u"A" : u"B") + RawData;
  return Report(Source, stored, EventType, Category, EventId, User, Computer, Server,
                u"KivLogFile.ReportEventEx");
}

bool KivLogFile::Report(const String& Source, const String& StoredRawData, int32_t EventType,
                        const String& Category, int32_t EventId, String& User, String& Computer,
                        const String& Server, const char16_t* source) {
  int32_t unk = 0;
  bool holding = false;  // the log stays open from the wrapping step to the commit
  bool failed = Guard(
      source, true,
      [&] {
        RefuseWhenReadOnly();
        if (User.empty()) User = UserName();
        if (Computer.empty()) Computer = ComputerName();
        PassOn(OpenLog(false));
        in_use_.Step(true);
        holding = true;
        auto row = [&] {
          unk = static_cast<int32_t>(TickCount());
          return EventRow{unk,  Now(),    EventType, Category, EventId,
                          User, Computer, Source,    Server,   StoredRawData};
        };
        // On a server, one round trip when it can be; on a file, statements cost none.
        std::unique_ptr<dao::engine::Pipeline> pipeline = db_->Connection()->Db()->NewPipeline();
        if (!pipeline ||
            !ReportInOneTrip(*db_->Connection(), *pipeline, row(),
                             TrimRuleOf(no_purge_.Active(), wrapping_, max_records_))) {
          // The trim, the record and LASTCHANGE go in together, or not at all.
          LogTransaction tx(*db_);
          PassOn(Purge(0, 0));
          InsertEvent(*db_->Connection(), row());
          // The record is stored: a failure to move LASTCHANGE is recorded but fails nothing.
          UpdateLastLog(unk);
          tx.Notify(unk, EventType, EventId);
          tx.Commit();
        }
        in_use_.Step(false);
        holding = false;
        PassOn(CloseLog(false));
        return false;
      },
      [&] {
        if (holding) in_use_.Step(false);
        CloseLog(false);
      });
  if (!failed && !no_notify_.Active()) RaiseChanged(unk, EventType, EventId);
  return failed;
}

void KivLogFile::RaiseChanged(int32_t unk, int32_t type, int32_t id) {
  // Copy first: a handler may unsubscribe itself.
  std::vector<ChangeHandler> handlers;
  for (const auto& [token, handler] : handlers_) handlers.push_back(handler);
  for (const ChangeHandler& h : handlers) {
    try {
      h(unk, type, id);
    } catch (...) {
      // A client's handler never breaks the report that raised it.
    }
  }
}

int64_t KivLogFile::SubscribeEventLogChanged(ChangeHandler handler) {
  const int64_t token = next_token_++;
  handlers_[token] = std::move(handler);
  return token;
}

void KivLogFile::UnsubscribeEventLogChanged(int64_t token) { handlers_.erase(token); }

bool KivLogFile::UpdateLastLog(int32_t lUnk) {
  return Guard(u"KivLogFile.UpdateLastLog", true, [&] {
    if (lUnk == 0) lUnk = static_cast<int32_t>(TickCount());
    PassOn(ParmWrite(u"LASTCHANGE", IntText(lUnk)));
    return false;
  });
}

// The marker is taken and given back inside the purge's transaction: other processes never see
// it set, and a process killed while purging leaves it as it was.
bool KivLogFile::PurgeLock() {
  return Guard(u"KivLogFile.PurgeLock", true, [&] {
    PassOn(ParmWrite(u"LOCK", u"1"));
    return false;
  });
}

bool KivLogFile::PurgeUnlock() {
  return Guard(u"KivLogFile.PurgeUnlock", true, [&] {
    PassOn(ParmWrite(u"LOCK", u"0"));
    return false;
  });
}

bool KivLogFile::Purge(int32_t Records, int32_t Days) {
  return PurgeEventLog(Records, Days, String());
}

bool KivLogFile::PurgeEventLog(int32_t Records, int32_t Days, const String& SubSet) {
  bool holding = false;  // the purge keeps the log open while it works, as a report does
  bool backup_failed = false;
  auto release = [&] {
    QvDbXtMod::Close_Recordset(purge_rs_);
    if (holding) in_use_.Step(false);
    holding = false;
  };
  return Guard(
      u"KivLogFile.PurgeEventLog", true,
      [&] {
        if (Records < -1) RaiseLibrary(u"Il parametro Records dev'essere >= 0 o -1");
        if (Days < 0) RaiseLibrary(u"Il parametro Days dev'essere >= 0");
        if (no_purge_.Active()) return false;
        RefuseWhenReadOnly();
        PassOn(OpenLog(false));
        in_use_.Step(true);
        holding = true;
        {
          // Counting, deciding and deleting under the write lock: processes trim one at a time.
          LogTransaction tx(*db_);
          backup_failed = Trim(Records, Days, SubSet);
          tx.Commit();
        }
        release();
        PassOn(CloseLog(false));
        // A failed backup kept the records not yet copied; its error stands as recorded.
        PassOn(backup_failed);
        return false;
      },
      [&] {
        release();
        CloseLog(false);
      });
}

bool KivLogFile::Trim(int32_t Records, int32_t Days, const String& SubSet) {
  const bool wrapping_step = SubSet.empty() && Records == 0 && Days == 0;
  if (wrapping_step && wrapping_ == KLFWM_DONTOVERWRITE) return false;
  std::shared_ptr<dao::Recordset> rs;
  if (!SubSet.empty()) {
    Records = -1;
    Days = 0;
    purge_rs_ = db_->OpenRecordset(
        String(u"select * from ") + kEventsTable + u" " + SubSet + u" order by " + DateOrder(*db_),
        dao::dbOpenDynaset, 0, dao::dbOptimistic);
    rs = purge_rs_;
  } else {
    rs = events_;
  }
  // The count as the recordset reports it right after opening.
  const int32_t n = rs->RecordCount();
  if (n == 0) return false;
  if (Records == -1) Records = n;
  if (Records == 0 && Days == 0) {
    if (wrapping_ == KLFWM_OVERWRITEASNEEDED) {
      if (n < max_records_) return false;
      Records = kWrapBatch;
    } else if (wrapping_ >= 1) {
      Days = wrapping_;
    } else {
      return false;  // never overwrite
    }
  }
  PassOn(PurgeLock());
  // Oldest first. Setting the index again would only drop the lookups prepared for it.
  if (rs == events_ && rs->Index() != kDateIndex) rs->Index(kDateIndex);
  const Date now = Now();
  auto young = [&] { return DateDiffDays(CDate(rs->Fields()[u"DATE"]->Value()), now) < Days; };
  rs->MoveFirst();
  if (Days > 0 && young()) {
    PassOn(PurgeUnlock());
    return false;
  }
  std::unique_ptr<BackupTarget> backup;
  bool deleted = false;
  for (; !rs->EOF_(); rs->MoveNext()) {
    if (Days > 0 ? young() : --Records < 0) break;
    if (!backup_file_.empty()) {
      if (!backup) backup = std::make_unique<BackupTarget>(backup_file_);
      in_use_.Step(true);
      const bool failed = BackupRecord(*rs, *backup);
      in_use_.Step(false);
      if (failed) {
        PassOn(PurgeUnlock());
        return true;
      }
    }
    rs->Delete();
    deleted = true;
  }
  PassOn(PurgeUnlock());
  if (deleted) PassOn(UpdateLastLog(0));
  no_purge_.Step(true);
  const bool failed =
      ReportEvent(kSelfSource, u"AEvent Log Purged", EVENTLOG_INFORMATION_TYPE, String(), 2);
  no_purge_.Step(false);
  PassOn(failed);
  return false;
}

}  // namespace kiv
