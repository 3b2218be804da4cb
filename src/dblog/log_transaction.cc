#include "dblog/log_transaction.h"

#include "kivdbxt/dao.h"

namespace kiv {

std::string NoticePayload(int32_t unk, int32_t type, int32_t id) {
  return std::to_string(unk) + " " + std::to_string(type) + " " + std::to_string(id);
}

LogTransaction::LogTransaction(dao::Database& db) : conn_(db.Connection()) {
  // Inside the report's transaction a purge or a parameter write is part of it: its failure fails
  // the report, which rolls back as a whole.
  if (conn_->Db()->InTransaction()) return;
  // Reads still pending would hold an older snapshot than the write lock is taken on.
  conn_->BeforeWrite();
  // Writers of the log take its lock first: reports commit in the order of their ids (a follower
  // by id never passes over one that commits late), and purges come one at a time.
  tx_.emplace(*conn_, "kiv_log", conn_->Db()->BeginWritersSql(kWritersLock));
}

LogTransaction::~LogTransaction() {
  // A connection closed meanwhile has rolled the transaction back itself.
  if (tx_ && !conn_->IsOpen()) tx_->Abandon();
}

void LogTransaction::Notify(int32_t unk, int32_t type, int32_t id) {
  dao::engine::Connection* db = conn_->Db();
  dao::engine::Notifier* notices = db->Notices();
  if (!notices) return;
  const std::string payload = NoticePayload(unk, type, id);
  // With the commit when this transaction makes it: one call to the server for both.
  if (tx_) {
    notice_sql_ = notices->NotifySql(kLogChannel, payload);
    return;
  }
  dao::detail::EngineCall(
      db, [&] { notices->Notify(kLogChannel, payload); }, {}, true);
}

void LogTransaction::Commit() {
  if (!tx_) return;
  if (notice_sql_.empty()) {
    tx_->Commit();
  } else {
    tx_->CommitWith(notice_sql_);
  }
}

}  // namespace kiv
