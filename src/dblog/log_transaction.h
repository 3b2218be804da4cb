// One write transaction on the event log's database.
//
// A report, a purge and a parameter write each run in one: begun with the write lock taken
// first (BEGIN IMMEDIATE on a file, the log's writers' lock on a server), so that processes
// sharing a log decide and change it one at a time, and a process killed half-way leaves nothing
// of its change behind. Inside another transaction it is a savepoint of that one.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "dao/connection.h"

namespace kiv {

// The channel of the log's change notices, and the resource of its writers' lock.
inline constexpr char kLogChannel[] = "kivlog";
inline constexpr char kWritersLock[] = "kivlog";

// What a notice of a report tells its listeners: "<unk> <type> <id>".
std::string NoticePayload(int32_t unk, int32_t type, int32_t id);

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
  // Tells every listener of the log, on any machine, of the report at the commit (nothing on a
  // file, whose readers poll LASTCHANGE).
  void Notify(int32_t unk, int32_t type, int32_t id);

 private:
  std::shared_ptr<dao::detail::Connection> conn_;
  std::optional<dao::detail::WriteTransaction> tx_;
  std::string notice_sql_;  // sent with the commit
};

}  // namespace kiv
