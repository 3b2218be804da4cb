// The connections of logs used without KeepAlive, kept by the process between calls.
//
// Without KeepAlive every operation of a log opens its database and closes it again; an open
// costs far more than a report. So a closing operation hands its connection here instead, and
// the next operation on the same database (file or URI) takes it back, as long as the file at
// that path is still the one the connection has open (a file removed, or replaced by another,
// means a fresh open; a file compacted in place is still the same file). A connection idle for
// kIdleMs is closed, by a thread of this cache. What stays across calls is an open handle with
// no lock and no transaction: another process sees nothing of it but the open file (and, for a
// WAL log, the -wal and -shm files it keeps). Where a file held open cannot be removed or
// renamed by another process (Windows), connections to files are not kept: each call opens and
// closes its file as it would without this cache; connections to servers are kept everywhere.
#pragma once

#include <functional>
#include <memory>

#include "kivdbxt/types.h"

namespace kiv {

namespace dao {
class Database;
class Recordset;
}  // namespace dao

namespace log_connections {

inline constexpr int kIdleMs = 1000;

// A log's connection, with the table recordsets it keeps open on it (either may be null).
struct Handles {
  std::shared_ptr<dao::Database> db;
  std::shared_ptr<dao::Recordset> events;
  std::shared_ptr<dao::Recordset> parms;
};

// A connection to `name` opened read-only or not: a kept one when there is one that still names
// the database standing at `name`, else a new one from `open` (without recordsets).
Handles Take(const String& name, bool read_only,
             const std::function<std::shared_ptr<dao::Database>()>& open);
// Keeps a connection `Take` gave for the next call, its reads finished, or closes it when it
// cannot be kept (a transaction still open, a file that is no longer at its path).
void Keep(const String& name, bool read_only, Handles handles);
// Closes the kept connections to `name`.
void Release(const String& name);

}  // namespace log_connections
}  // namespace kiv
