#include "dao/compact.h"

#include <sqlite3.h>

#include "dao/dao_errors.h"
#include "dao/schema.h"
#include "platform/fs.h"

namespace kiv::dao::detail {
namespace {

// Copies every page of the file `from` over the main database of `to`; the destination shrinks
// to the copy's size. Its connection's lock is kept: locking mode is exclusive.
void CopyBack(Connection& to, const String& from) {
  auto source = OpenConnection(from, false, false, true);
  sqlite3_backup* backup = sqlite3_backup_init(to.Db(), "main", source->Db(), "main");
  if (!backup) RaiseSqlite(to.Db(), sqlite3_errcode(to.Db()));
  int rc = sqlite3_backup_step(backup, -1);
  sqlite3_backup_finish(backup);
  if (rc != SQLITE_DONE) RaiseSqlite(to.Db(), rc);
  // The copy's schema replaces the one cached for the old pages.
  to.schema_cache.clear();
  to.statements.clear();
}

}  // namespace

void VacuumInto(Connection& source, const String& dst) {
  if (FileExists(dst)) RaiseDao(kDaoDatabaseExists);
  try {
    Statement vacuum(source.Db(), "VACUUM INTO ?1");
    vacuum.BindText(1, dst);
    vacuum.Run();
  } catch (...) {
    RemoveFile(dst);
    throw;
  }
}

// A database in WAL mode is kept open by every connection to it (each holds the shared memory),
// so it is never free for an exclusive hold: it is compacted by one write transaction instead,
// which writers wait for and readers read beside, through SQLite's own unnamed copy.
bool CompactedInWal(const String& name) {
  auto conn = OpenConnection(name, false, false, false);
  Statement mode(conn->Db(), "PRAGMA journal_mode");
  const bool wal = mode.Step() && mode.Text(0) == u"wal";
  mode.Reset();
  if (!wal) return false;
  ExecSql(*conn, "VACUUM");
  sqlite3_exec(conn->Db(), "PRAGMA wal_checkpoint(TRUNCATE)", nullptr, nullptr, nullptr);
  return true;
}

void CompactInPlace(const String& name, const String& tmp) {
  if (FileExists(tmp)) RaiseDao(kDaoDatabaseExists);
  if (CompactedInWal(name)) return;
  auto conn = OpenConnection(name, false, true, false);
  try {
    VacuumInto(*conn, tmp);
    CopyBack(*conn, tmp);
  } catch (...) {
    conn->Close();
    RemoveFile(tmp);
    throw;
  }
  conn->Close();
  RemoveFile(tmp);
}

}  // namespace kiv::dao::detail
