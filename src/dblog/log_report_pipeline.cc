#include "dblog/log_report_pipeline.h"

#include "dao/connection.h"
#include "dblog/log_parms.h"
#include "dblog/log_transaction.h"
#include "platform/vb_convert.h"

namespace kiv {
namespace {

// In the model's SQL: the report has nothing to trim first. Empty when it never has.
std::string Condition(TrimRule::Kind kind) {
  if (kind == TrimRule::Kind::kCount) return R"((SELECT count(*) FROM "EVENTS") < ?1)";
  if (kind == TrimRule::Kind::kAge) {
    return R"(NOT EXISTS (SELECT 1 FROM "EVENTS" WHERE "DATE" < ?1))"
           R"( AND NOT EXISTS (SELECT 1 FROM "EVENTS" WHERE "DATE" IS NULL))";
  }
  return {};
}

}  // namespace

bool ReportInOneTrip(dao::detail::Connection& conn, dao::engine::Pipeline& pipeline,
                     const EventRow& row, const TrimRule& trim) {
  dao::engine::Connection* db = conn.Db();
  if (db->InTransaction()) return false;  // a part of a larger change (a purge's own report)
  dao::engine::Notifier* notices = db->Notices();
  if (!notices) return false;
  conn.BeforeWrite();
  const std::string condition = Condition(trim.kind);
  dao::detail::Statement* check = nullptr;
  if (!condition.empty()) {
    check = &conn.Prepared(pipeline.CheckSql(condition));
    if (trim.kind == TrimRule::Kind::kCount) check->BindInt(1, trim.max_records);
    if (trim.kind == TrimRule::Kind::kAge) check->BindDouble(1, trim.keep_from);
  }
  dao::detail::Statement& insert = BoundInsert(conn, row);
  dao::detail::Statement& last = BoundParmUpdate(conn, u"LASTCHANGE", IntText(row.unk));
  // Every statement run under the lock prepared once: the server plans none of them again.
  dao::detail::Statement& lock = conn.Prepared(db->LockWritersSql(kWritersLock));
  dao::detail::Statement& notify = conn.Prepared(notices->NotifyByParametersSql());
  notify.BindUtf8(1, kLogChannel);
  notify.BindUtf8(2, NoticePayload(row.unk, row.type, row.id));
  pipeline.Add(db->BeginWriteSql());
  pipeline.Add(lock.Raw());
  if (check) pipeline.Add(check->Raw());
  pipeline.Add(insert.Raw());
  pipeline.Add(notify.Raw());
  // Last before COMMIT, which leaves the count of rows it changed.
  pipeline.Add(last.Raw());
  pipeline.Add("COMMIT");
  bool made = false;
  {
    // Answers not read, or read by a failed run, must not stand for the statements' next runs.
    struct Reset {
      std::initializer_list<dao::detail::Statement*> statements;
      ~Reset() {
        for (dao::detail::Statement* s : statements) {
          if (s) s->Reset();
        }
      }
    } reset{{&lock, check, &insert, &notify, &last}};
    made = dao::detail::EngineCall(
        db, [&] { return pipeline.Run(); }, {}, true);
  }
  if (made && db->Changes() != 1) {
    // LASTCHANGE had no row, or had several (left by older versions): the ordinary write adds
    // the row, or keeps the first. Checking before would cost every report a look at PARMS.
    dao::detail::WriteTransaction tx(conn, "kiv_log", db->BeginWritersSql(kWritersLock));
    WriteParm(conn, u"LASTCHANGE", IntText(row.unk));
    tx.Commit();
  }
  return made;
}

}  // namespace kiv
