// One write transaction on the event log's database.
//
// A report, a purge and a parameter write each run in one: begun with the write lock taken
// first (BEGIN IMMEDIATE on a file, the log's writers' lock on a server), so that processes
// sharing a log decide and change it one at a time, and a process killed half-way leaves nothing
// of its change behind. Inside another transaction it is a savepoint of that one.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "dao/connection.h"

namespace kiv {

// The channel of the log's change notices.
inline constexpr char kLogChannel[] = "kivlog";

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
  // Tells every listener of the log, on any machine, of the change at the commit (nothing on a
  // file, whose readers poll LASTCHANGE).
  void Notify(const std::string& payload);

 private:
  std::shared_ptr<dao::detail::Connection> conn_;
  std::optional<dao::detail::WriteTransaction> tx_;
  std::string notice_sql_;  // sent with the commit
};

}  // namespace kiv
