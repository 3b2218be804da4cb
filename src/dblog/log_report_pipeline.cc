#include "dblog/log_report_pipeline.h"

#include "dao/connection.h"
#include "dblog/log_parms.h"
#include "dblog/log_transaction.h"
#include "platform/vb_convert.h"

namespace kiv {
namespace {

// In the model's SQL: the report needs nothing trimmed and LASTCHANGE has exactly one row.
std::string Condition(TrimRule::Kind kind) {
  std::string sql = R"(((SELECT count(*) FROM "PARMS" WHERE "KEY" = 'LASTCHANGE') = 1)";
  if (kind == TrimRule::Kind::kCount) sql += R"( AND (SELECT count(*) FROM "EVENTS") < ?1)";
  if (kind == TrimRule::Kind::kAge) {
    sql += R"( AND NOT EXISTS (SELECT 1 FROM "EVENTS" WHERE "DATE" < ?1))"
           R"( AND NOT EXISTS (SELECT 1 FROM "EVENTS" WHERE "DATE" IS NULL))";
  }
  return sql + ")";
}

}  // namespace

bool ReportInOneTrip(dao::detail::Connection& conn, const EventRow& row, const TrimRule& trim) {
  dao::engine::Connection* db = conn.Db();
  if (db->InTransaction()) return false;  // a part of a larger change (a purge's own report)
  std::unique_ptr<dao::engine::Pipeline> pipeline = db->NewPipeline();
  dao::engine::Notifier* notices = db->Notices();
  if (!pipeline || !notices) return false;
  conn.BeforeWrite();
  dao::detail::Statement& check = conn.Prepared(pipeline->CheckSql(Condition(trim.kind)));
  if (trim.kind == TrimRule::Kind::kCount) check.BindInt(1, trim.max_records);
  if (trim.kind == TrimRule::Kind::kAge) check.BindDouble(1, trim.keep_from);
  dao::detail::Statement& insert = BoundInsert(conn, row);
  dao::detail::Statement& last = BoundParmUpdate(conn, u"LASTCHANGE", IntText(row.unk));
  pipeline->Add(db->BeginWritersSql(kWritersLock));
  pipeline->Add(check.Raw());
  pipeline->Add(insert.Raw());
  pipeline->Add(last.Raw());
  pipeline->Add(notices->NotifySql(kLogChannel, NoticePayload(row.unk, row.type, row.id)));
  pipeline->Add("COMMIT");
  // Answers not read, or read by a failed run, must not stand for the statements' next runs.
  struct Reset {
    std::initializer_list<dao::detail::Statement*> statements;
    ~Reset() {
      for (dao::detail::Statement* s : statements) s->Reset();
    }
  } reset{{&check, &insert, &last}};
  return dao::detail::EngineCall(
      db, [&] { return pipeline->Run(); }, {}, true);
}

}  // namespace kiv
