#include "dblog/log_transaction.h"

#include "kivdbxt/dao.h"

namespace kiv {

LogTransaction::LogTransaction(dao::Database& db) : conn_(db.Connection()) {
  // Inside the report's transaction a purge or a parameter write is part of it: its failure fails
  // the report, which rolls back as a whole.
  if (conn_->Db()->InTransaction()) return;
  // Reads still pending would hold an older snapshot than the write lock is taken on.
  conn_->BeforeWrite();
  tx_.emplace(*conn_, "kiv_log");
}

LogTransaction::~LogTransaction() {
  // A connection closed meanwhile has rolled the transaction back itself.
  if (tx_ && !conn_->IsOpen()) tx_->Abandon();
}

void LogTransaction::Commit() {
  if (tx_) tx_->Commit();
}

}  // namespace kiv
