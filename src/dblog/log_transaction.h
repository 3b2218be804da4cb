// One write transaction on the event log's database.
//
// A report, a purge and a parameter write each run in one: begun with the write lock taken
// first (BEGIN IMMEDIATE), so that processes sharing a log decide and change it one at a time,
// and a process killed half-way leaves nothing of its change behind. Inside another transaction
// it is a savepoint of that one.
#pragma once

#include <memory>
#include <optional>

#include "dao/connection.h"

namespace kiv {

namespace dao {
class Database;
}

class LogTransaction {
 public:
  explicit LogTransaction(dao::Database& db);
  // Rolls back unless committed.
  ~LogTransaction();
  LogTransaction(const LogTransaction&) = delete;
  LogTransaction& operator=(const LogTransaction&) = delete;
  void Commit();

 private:
  std::shared_ptr<dao::detail::Connection> conn_;
  std::optional<dao::detail::WriteTransaction> tx_;
};

}  // namespace kiv
