#include "dblog/log_transaction.h"

#include "kivdbxt/dao.h"

namespace kiv {

LogTransaction::LogTransaction(dao::Database& db) : conn_(db.Connection()) {
  // Reads still pending would hold an older snapshot than the write lock is taken on.
  conn_->BeforeWrite();
  tx_.emplace(conn_->Db(), "kiv_log");
}

LogTransaction::~LogTransaction() {
  // A connection closed meanwhile has rolled the transaction back itself.
  if (!conn_->IsOpen()) tx_->Abandon();
}

void LogTransaction::Commit() { tx_->Commit(); }

}  // namespace kiv
